#pragma once

/// A reader for configuration files of sections, keys and values.
///
/// One configuration is open at a time, in the whole process; the functions are not thread safe.

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/// One value of a configuration file. No member is NULL; `section` is "" ahead of the first section.
typedef struct {
  const char *section;
  const char *key;
  const char *value;
} KvreaderTriple;

/// Reads the configuration file at `path` and makes it the open one. One that was still open is closed first.
///
/// Lines that are no section, key or comment are skipped. So are, in the generic implementation, lines of
/// more than 198 bytes, and a section whose name has more than 49 bytes or that is not closed, with its keys.
///
/// Returns non-zero on success, and 0 with errno set when the file cannot be read (EISDIR for a folder).
int kvreader_opencfg(const char *path);

/// Returns the next value of the open configuration, in file order: a section or a key that stands in the
/// file twice is returned twice. Returns NULL at the end, and when no configuration is open.
///
/// The triple and its texts belong to the reader and are valid until the next call of any function of it.
const KvreaderTriple *kvreader_getcfg(void);

/// Closes the open configuration; does nothing when there is none.
void kvreader_closecfg(void);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
