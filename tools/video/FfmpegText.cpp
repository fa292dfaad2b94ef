#include "video/FfmpegText.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <cstdlib>

namespace nudora::tool {

std::string ffmpegErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof(text));
  return text;
}

void quietFfmpegLog() {
  const char* wanted = std::getenv("NUDORA_FFMPEG_LOG");
  av_log_set_level(wanted && *wanted == '1' ? AV_LOG_INFO : AV_LOG_QUIET);
}

}  // namespace nudora::tool
