#pragma once
// FFmpeg's error codes as text for the tool's one-line messages.

#include <string>

namespace nudora::tool {

// "Invalid data found when processing input" and the like.
std::string ffmpegErrorText(int code);

// Keeps FFmpeg's own log (encoder statistics, demuxer complaints) off
// standard error, where the tool's one-line messages already say what went
// wrong; NUDORA_FFMPEG_LOG=1 lets it through for debugging.
void quietFfmpegLog();

}  // namespace nudora::tool
