#pragma once

/// The boot-parameter store: what the boot loader knows about this unit.

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/// Returns the value of the boot parameter `name`, to be released with free().
///
/// Returns NULL with errno set on failure: ENOENT when the store has no such parameter, or when there is no
/// store at all, and another value, such as EIO, when the store could not be read.
///
/// The store may be read on the first call only and kept from then on. That call needs the rights to read it,
/// so a process that gives up its privileges asks for a parameter before it does.
char *bootblock_get(const char *name);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
