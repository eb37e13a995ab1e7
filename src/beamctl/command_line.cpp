#include "beamctl/command_line.h"

#include <glib.h>

#include <algorithm>
#include <cctype>

#include "beamctl/failure.h"
#include "beamctl/json_output.h"
#include "beamctl/text.h"

namespace {

using Options = std::map<std::string, std::string, std::less<>>;

constexpr OptionSpec kCommonOptions[] = {
    {"json", nullptr, "Print JSON instead of text for people"},
    {"bus", "ADDRESS", "Use the bus at ADDRESS (the default is the system bus)"},
    {"help", nullptr, "Show what there is, or how a command is used"},
    {"version", nullptr, "Show the version"},
};

Failure usage_failure(const std::string &message, std::string_view command) {
  const std::string which = command.empty() ? "" : " " + std::string{command};
  return {kExitUsage, "usage", message, "\"beamctl" + which + " --help\" shows how it is used"};
}

// GOption would take negative numbers for options.
bool is_option(std::string_view word) {
  return word.size() > 1 && word[0] == '-' && std::isdigit(static_cast<unsigned char>(word[1])) == 0;
}

bool takes_value(std::string_view word, std::span<const Command> commands) {
  const auto matches = [word](const OptionSpec &option) {
    return option.argument != nullptr && word == "--" + std::string{option.name};
  };
  return std::ranges::any_of(kCommonOptions, matches) ||
         std::ranges::any_of(
             commands, [&](const Command &command) { return std::ranges::any_of(command.options, matches); });
}

struct Words {
  std::vector<std::string> options;  ///< with their values
  std::vector<std::string> arguments;
  bool json = false;
};

// Options may stand anywhere up to "--".
Words sort_words(const std::vector<std::string> &words, std::span<const Command> commands) {
  Words sorted;
  for (auto word = words.begin(); word != words.end(); ++word) {
    if (*word == "--") {
      sorted.arguments.insert(sorted.arguments.end(), word + 1, words.end());
      break;
    }
    if (!is_option(*word)) {
      sorted.arguments.push_back(*word);
      continue;
    }
    sorted.options.push_back(*word);
    sorted.json = sorted.json || *word == "--json";
    if (takes_value(*word, commands) && word + 1 != words.end())
      sorted.options.push_back(*++word);
  }
  return sorted;
}

// GOption would take it and say nothing.
void check_for_needless_values(const std::vector<std::string> &words, const Command *command) {
  std::vector<OptionSpec> options(std::begin(kCommonOptions), std::end(kCommonOptions));
  if (command != nullptr)
    options.insert(options.end(), command->options.begin(), command->options.end());
  for (const OptionSpec &option : options) {
    const std::string name = "--" + std::string{option.name};
    const auto has_value = [&](const std::string &word) { return word.starts_with(name + "="); };
    if (option.argument == nullptr && std::ranges::any_of(words, has_value))
      throw usage_failure(name + " takes no value", command != nullptr ? command->name : "");
  }
}

gboolean take_option(const gchar *name, const gchar *value, gpointer data, GError **) noexcept {
  const std::string_view long_name = std::string_view{name} == "-h" ? "--help" : name;
  (*static_cast<Options *>(data))[std::string{long_name.substr(2)}] = value != nullptr ? value : "";
  return TRUE;
}

GOptionEntry entry_of(const OptionSpec &option) {
  const gint flags = option.argument == nullptr ? G_OPTION_FLAG_NO_ARG : G_OPTION_FLAG_FILENAME;
  const gchar letter = std::string_view{option.name} == "help" ? 'h' : '\0';
  return {option.name,
          letter,
          flags,
          G_OPTION_ARG_CALLBACK,
          reinterpret_cast<gpointer>(take_option),
          option.description,
          option.argument};
}

std::string usage_of(const Command &command) {
  const std::string synopsis = command.synopsis;
  return command.name + (synopsis.empty() ? "" : " " + synopsis);
}

/// Options end up in @p taken, which has to live as long as the result.
GOptionContext *make_context(const Command *command, Options *taken) {
  const std::string synopsis = command == nullptr ? "COMMAND [ARGUMENT…]" : usage_of(*command);
  GOptionContext *context = g_option_context_new(synopsis.c_str());
  g_option_context_set_help_enabled(context, FALSE);
  GOptionGroup *group = g_option_group_new("beamctl", "", "", taken, nullptr);
  std::vector<GOptionEntry> entries;
  if (command != nullptr)
    std::ranges::transform(command->options, std::back_inserter(entries), entry_of);
  std::ranges::transform(kCommonOptions, std::back_inserter(entries), entry_of);
  entries.push_back({});
  g_option_group_add_entries(group, entries.data());
  g_option_context_set_main_group(context, group);
  return context;
}

void describe(GOptionContext *context, const Command &command) {
  const std::string description = command.description;
  g_option_context_set_summary(context, command.summary);
  if (!description.empty())
    g_option_context_set_description(context, (description + "\n").c_str());
}

void describe(GOptionContext *context, std::span<const Command> commands) {
  std::string summary = "Shows and changes the lights of beamd.\n\nCommands:";
  for (const Command &command : commands) {
    std::string usage = usage_of(command);
    usage.resize(std::max<size_t>(usage.size(), 28), ' ');
    summary += "\n  " + usage + "  " + command.summary;
  }
  g_option_context_set_summary(context, summary.c_str());
  g_option_context_set_description(context, "\"beamctl COMMAND --help\" tells more; so does beamctl(1).\n");
}

Options parse_options(const Words &words, const Command *command) {
  check_for_needless_values(words.options, command);
  Options taken;
  g_autoptr(GOptionContext) context = make_context(command, &taken);
  g_autoptr(GStrvBuilder) builder = g_strv_builder_new();
  g_strv_builder_add(builder, "beamctl");
  for (const std::string &word : words.options)
    g_strv_builder_add(builder, word.c_str());

  g_auto(GStrv) arguments = g_strv_builder_end(builder);
  g_autoptr(GError) error = nullptr;
  if (!g_option_context_parse_strv(context, &arguments, &error))
    throw usage_failure(error->message, command != nullptr ? command->name : "");
  return taken;
}

const Command &find_command(std::string_view name, std::span<const Command> commands) {
  const auto found = std::ranges::find(commands, name,
                                       [](const Command &command) { return std::string_view{command.name}; });
  if (found != commands.end())
    return *found;

  std::vector<std::string_view> names;
  std::ranges::transform(commands, std::back_inserter(names), &Command::name);
  const std::string_view similar = most_similar(name, names);
  const std::string meant =
      similar.empty() ? "there are: " + join(names) : "did you mean \"" + std::string{similar} + "\"?";
  throw Failure(kExitUsage, "usage", "there is no command \"" + std::string{name} + "\"", meant);
}

void print_document(const char *member, const std::string &text, bool json) {
  if (!json) {
    print(text);
    return;
  }
  JsonDocument document;
  document.begin_object();
  document.add(member, text);
  document.end_object();
  print(document.text());
}

int show_help(const Command *command, std::span<const Command> commands, bool json) {
  Options unused;
  g_autoptr(GOptionContext) context = make_context(command, &unused);
  if (command != nullptr)
    describe(context, *command);
  else
    describe(context, commands);
  g_autofree gchar *help = g_option_context_get_help(context, TRUE, nullptr);
  print_document("help", help, json);
  return kExitDone;
}

int show_version(bool json) {
  print_document("version", json ? BEAMCTL_VERSION : "beamctl " BEAMCTL_VERSION "\n", json);
  return kExitDone;
}

void check_arguments(const Command &command, const std::vector<std::string> &arguments) {
  if (arguments.size() < command.least_arguments)
    throw usage_failure("\"" + std::string{command.name} + "\" needs " + command.synopsis, command.name);
  if (arguments.size() > command.most_arguments)
    throw usage_failure("\"" + arguments[command.most_arguments] + "\" is one argument too many",
                        command.name);
}

Failure no_command(std::span<const Command> commands) {
  std::vector<std::string_view> names;
  std::ranges::transform(commands, std::back_inserter(names), &Command::name);
  return {kExitUsage, "usage", "a command is missing",
          "there are: " + join(names) + "; \"beamctl --help\" shows how they are used"};
}

}  // namespace

std::optional<std::string> Invocation::value(std::string_view option) const {
  const auto found = options.find(option);
  return found == options.end() ? std::nullopt : std::optional{found->second};
}

bool asks_for_json(const std::vector<std::string> &words, std::span<const Command> commands) {
  return sort_words(words, commands).json;
}

int run_and_report(const std::vector<std::string> &words, std::span<const Command> commands) {
  const auto fail = [&](const Failure &failure) {
    report(failure, asks_for_json(words, commands));
    return failure.exit();
  };
  try {
    return run_command_line(words, commands);
  } catch (const Failure &failure) {
    return fail(failure);
  } catch (const std::exception &exception) {
    return fail({kExitRefused, "internal", std::string{"beamctl has a fault: "} + exception.what(),
                 "please report it, with the command line and what \"beamctl --version\" prints"});
  }
}

int run_command_line(const std::vector<std::string> &words, std::span<const Command> commands) {
  Words sorted = sort_words(words, commands);
  const bool asks_for_help = !sorted.arguments.empty() && sorted.arguments[0] == "help";
  if (asks_for_help)
    sorted.arguments.erase(sorted.arguments.begin());
  const Command *command = sorted.arguments.empty() ? nullptr : &find_command(sorted.arguments[0], commands);

  Invocation invocation{.arguments = {}, .options = parse_options(sorted, command)};
  if (asks_for_help || invocation.has("help"))
    return show_help(command, commands, invocation.json());
  if (invocation.has("version"))
    return show_version(invocation.json());
  if (command == nullptr)
    throw no_command(commands);
  invocation.arguments.assign(sorted.arguments.begin() + 1, sorted.arguments.end());
  check_arguments(*command, invocation.arguments);
  return command->run(invocation);
}
