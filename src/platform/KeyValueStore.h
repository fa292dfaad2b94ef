#pragma once
// A small persistent key-value store, standing in for the platform's user
// defaults. Values live in one text file, "defaults.conf", in the store's
// folder; every change rewrites the file atomically (temporary file, fsync,
// rename), so a crash leaves either the old or the new contents.
//
// The standard store's folder is $NUDORA_CONFIG_DIR when set, else
// $XDG_CONFIG_HOME/nudora, else $HOME/.config/nudora.
//
// A file that cannot be parsed reads as empty: a warning names it and the
// file is kept beside as "defaults.conf.corrupt" rather than overwritten.
//
// Thread rules: every member is callable from any thread.

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace nudora {

class KeyValueStore {
 public:
  explicit KeyValueStore(std::string folder);

  // The process-wide store in the standard folder (read on first use).
  static std::shared_ptr<KeyValueStore> standard();
  // The standard folder as the environment gives it now.
  static std::string standardFolder();

  // 0.0 when the key is absent or not a number.
  double doubleForKey(const std::string& key) const;
  // False (with a console line) when the file could not be written; the value
  // is still kept in memory.
  bool setDouble(double value, const std::string& key);

  // Several values with one write of the file.
  bool setDoubles(const std::vector<std::pair<std::string, double>>& values);

  std::optional<std::string> stringForKey(const std::string& key) const;
  bool setString(const std::string& value, const std::string& key);
  bool removeObjectForKey(const std::string& key);

  // Rereads the file, dropping unsaved state.
  void reload();

  const std::string& folder() const { return folder_; }
  std::string filePath() const;

 private:
  bool save();  // mutex_ held

  std::string folder_;
  mutable std::mutex mutex_;
  std::map<std::string, std::string> values_;
};

}  // namespace nudora
