#include "common/FileChecks.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

// Only the header is read here (stbi_info), to say early what is wrong with
// a picture; the library decodes pictures with libpng and libjpeg-turbo.
#define STB_IMAGE_IMPLEMENTATION
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_FAILURE_USERMSG
#include <stb_image.h>

namespace nudora::tool {

namespace fs = std::filesystem;

std::string fileProblem(const std::string& role, const std::string& path) {
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (!fs::exists(status)) return "cannot read " + role + " '" + path + "': no such file";
  if (!fs::is_regular_file(status)) return "cannot read " + role + " '" + path + "': not a regular file";
  if (fs::file_size(path, ec) == 0 && !ec) return role + " '" + path + "' is empty";
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return "cannot read " + role + " '" + path + "': " + std::strerror(errno);
  std::fclose(file);
  return {};
}

std::string pictureProblem(const std::string& role, const std::string& path, int maxSide) {
  if (std::string problem = fileProblem(role, path); !problem.empty()) return problem;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return "cannot read " + role + " '" + path + "': " + std::strerror(errno);
  int width = 0, height = 0, channels = 0;
  const int known = stbi_info_from_file(file, &width, &height, &channels);
  std::fclose(file);
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  if (!known) {
    return "cannot read " + role + " '" + path + "': not a PNG or JPEG picture (" + stbi_failure_reason() + ")";
  }
  if (width <= 0 || height <= 0) return role + " '" + path + "' is empty (" + size + ")";
  if (width > maxSide || height > maxSide) {
    return role + " '" + path + "' is too large (" + size + "; at most " + std::to_string(maxSide) + " on a side)";
  }
  return {};
}

}  // namespace nudora::tool
