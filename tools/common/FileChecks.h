#pragma once
// Checks of input files that the commands make before any work, so that a
// bad file costs one line naming it. role names the file in that line
// ("input", "watermark", "gyro log", ...).

#include <string>

namespace nudora::tool {

// Empty when path is a readable, non-empty regular file, else the reason.
std::string fileProblem(const std::string& role, const std::string& path);
// Empty when path is also a PNG or JPEG whose header gives a size of 1 to
// maxSide on each side, else the reason (read from the header, not decoded).
std::string pictureProblem(const std::string& role, const std::string& path, int maxSide);

}  // namespace nudora::tool
