#pragma once

#include <glib.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

struct KeyFileUnref {
  void operator()(GKeyFile *key_file) const { g_key_file_unref(key_file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileUnref>;

inline KeyFile new_key_file() { return KeyFile{g_key_file_new()}; }

/// The key file with the content @p text; the running test fails when it is none.
inline KeyFile parsed(const std::string &text) {
  auto key_file = new_key_file();
  g_autoptr(GError) error = nullptr;
  EXPECT_TRUE(g_key_file_load_from_data(key_file.get(), text.data(), text.size(), G_KEY_FILE_NONE, &error))
      << error->message;
  return key_file;
}

inline std::string text_of(const KeyFile &key_file) {
  g_autofree char *text = g_key_file_to_data(key_file.get(), nullptr, nullptr);
  return text;
}

/// The value as it stands in the file, or "(none)".
inline std::string raw_value(GKeyFile *key_file, const char *group, const char *key) {
  g_autofree char *value = g_key_file_get_value(key_file, group, key, nullptr);
  return value ? value : "(none)";
}
