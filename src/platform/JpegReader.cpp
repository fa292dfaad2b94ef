#include "platform/JpegReader.h"

#include <csetjmp>
#include <cstdio>

// jpeglib.h needs size_t and FILE declared first.
#include <jpeglib.h>
#include <jerror.h>

namespace nudora {
namespace {

// libjpeg reports a fatal error by calling error_exit, which must not
// return: it jumps back to decode(). Everything the jump crosses lives in
// this struct, which decode's caller frame owns, so no local of the
// function that called setjmp is changed between setjmp and the jump.
struct Decoder {
  jpeg_decompress_struct info{};
  jpeg_error_mgr errors{};
  std::jmp_buf jump{};
  char message[JMSG_LENGTH_MAX] = {};
  bool created = false;
};

void onError(j_common_ptr info) {
  auto* decoder = static_cast<Decoder*>(info->client_data);
  (*info->err->format_message)(info, decoder->message);
  std::longjmp(decoder->jump, 1);
}

// Warnings of a damaged file are not printed, and most are decoded through.
// Running out of data is not: libjpeg would fill the rest of a picture whose
// header claims 16384 x 16384 pixels from a file of a few hundred bytes.
void onEmit(j_common_ptr info, int level) {
  if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF) onError(info);
}

bool run(Decoder& d, const uint8_t* bytes, size_t size, int maxSide, std::vector<uint8_t>* rgba, int* width,
         int* height, std::string* why) {
  if (setjmp(d.jump)) {
    *why = d.message;
    return false;
  }
  jpeg_create_decompress(&d.info);
  d.created = true;
  jpeg_mem_src(&d.info, bytes, static_cast<unsigned long>(size));
  jpeg_read_header(&d.info, TRUE);
  if (d.info.image_width == 0 || d.info.image_height == 0 || d.info.image_width > static_cast<unsigned>(maxSide) ||
      d.info.image_height > static_cast<unsigned>(maxSide)) {
    *why = "Very large image (corrupt?)";
    return false;
  }
  d.info.out_color_space = JCS_EXT_RGBA;
  jpeg_start_decompress(&d.info);
  *width = static_cast<int>(d.info.output_width);
  *height = static_cast<int>(d.info.output_height);
  rgba->assign(static_cast<size_t>(*width) * *height * 4, 0);
  while (d.info.output_scanline < d.info.output_height) {
    JSAMPROW row = rgba->data() + static_cast<size_t>(d.info.output_scanline) * *width * 4;
    jpeg_read_scanlines(&d.info, &row, 1);
  }
  jpeg_finish_decompress(&d.info);
  return true;
}

}  // namespace

bool JpegReader::looksLikeJpeg(const uint8_t* bytes, size_t size) {
  return size >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF;
}

bool JpegReader::decode(const uint8_t* bytes, size_t size, int maxSide, std::vector<uint8_t>* rgba, int* width,
                        int* height, std::string* why) {
  Decoder decoder;
  decoder.info.err = jpeg_std_error(&decoder.errors);
  decoder.errors.error_exit = onError;
  decoder.errors.emit_message = onEmit;
  decoder.info.client_data = &decoder;
  const bool ok = run(decoder, bytes, size, maxSide, rgba, width, height, why);
  if (decoder.created) jpeg_destroy_decompress(&decoder.info);
  if (!ok) rgba->clear();
  return ok;
}

}  // namespace nudora
