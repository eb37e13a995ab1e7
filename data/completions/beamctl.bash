# Completion for beamctl.
# shellcheck shell=bash

# Commands and options that stand before the cursor: sets command, arguments (their number), light_property and bus.
_beamctl_look_back() {
  local -a words
  local word skip=''
  # Not COMP_WORDS: bash splits an address at its colons.
  read -ra words <<<"${COMP_LINE:0:COMP_POINT}"
  [[ ${COMP_LINE:0:COMP_POINT} == *[[:space:]] ]] || unset 'words[-1]'
  command='' arguments=0 light_property='' bus=() previous=${words[-1]}
  for word in "${words[@]:1}"; do
    if [[ -n $skip ]]; then
      [[ $skip != --bus ]] || bus=(--bus "$word")
      skip=''
      continue
    fi
    case $word in
      --bus | --led | --root) skip=$word ;;
      --bus=*) bus=("$word") ;;
      -[!0-9]*) ;;
      *)
        if [[ -z $command ]]; then
          command=$word
        else
          arguments=$((arguments + 1))
          [[ $arguments != 2 ]] || light_property=$word
        fi
        ;;
    esac
  done
}

# The lights that the running daemon knows. compgen expands what it is given: nothing else may get there.
_beamctl_lights() {
  timeout 2 "$1" "${bus[@]}" list 2>/dev/null | awk '$1 ~ /^led[0-9]+$/ { print $1 }'
}

_beamctl_argument() {
  local commands='list show on off enable disable intensity angle get set monitor check help'
  local settable='AutomaticAngleOfIllumination AutomaticIntensity ManualSetAngleOfIllumination ManualSetIntensity'
  settable+=' SyncDayNight'
  local readable='AutomaticAngleOfIlluminationSupp CardDetected CorrectPoe UseDayNight'
  case $command:$arguments in
    :0 | help:0) echo "$commands" ;;
    show:0 | on:0 | off:0 | enable:0 | disable:0 | intensity:0 | angle:0 | get:0 | set:0) _beamctl_lights "$1" ;;
    get:1) echo "$settable $readable" ;;
    set:1) echo "$settable" ;;
    set:2) [[ $light_property == ManualSet* ]] || echo 'true false' ;;
  esac
}

_beamctl_options() {
  echo '--json --bus --help --version'
  case $command in
    intensity) echo '--led --automatic --manual' ;;
    check) echo '--root' ;;
  esac
}

_beamctl() {
  local current=$2 command arguments light_property previous
  local -a bus
  _beamctl_look_back
  COMPREPLY=()
  case $previous in
    --bus | --led) return ;;
    --root)
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      compopt -o filenames
      return
      ;;
  esac
  if [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_beamctl_options)" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -W "$(_beamctl_argument "$1")" -- "$current")
  fi
}

complete -F _beamctl beamctl
