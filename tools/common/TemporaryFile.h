#pragma once
// A file written under a temporary name beside its destination and renamed
// into place only when complete, so that a failed or interrupted run never
// leaves a half-written file under the name the user asked for.

#include <string>

namespace nudora::tool {

class TemporaryFile {
 public:
  // The temporary name is ".nudora-<tag>-<pid>-<file name>" in the
  // destination's folder; it keeps the extension, which picks the format.
  TemporaryFile(const std::string& destination, const std::string& tag);
  // Removes the temporary file unless commit() succeeded.
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }
  const std::string& destination() const { return destination_; }
  // Creates (empty) the temporary file to learn early whether the folder
  // takes it; false with the reason in error.
  bool probe(std::string* error) const;
  // Renames the temporary file onto the destination.
  bool commit(std::string* error);

 private:
  std::string destination_;
  std::string path_;
  bool committed_ = false;
};

}  // namespace nudora::tool
