#include "gpu/OrvoCrypt.h"

#include <openssl/evp.h>

#include <memory>
#include <vector>

namespace nudora {
namespace {

// The library's key. It keeps shader text from being read by a glance at the
// binary; it is not meant to withstand anyone who has the binary.
constexpr unsigned char kKey[16] = {0x4e, 0x75, 0x64, 0x6f, 0x72, 0x61, 0x2d, 0x73,
                                    0x68, 0x61, 0x64, 0x65, 0x72, 0x6b, 0x65, 0x79};

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

bool aes(const unsigned char* in, int length, unsigned char* out, bool encrypt) {
  CipherContext ctx(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
  if (!ctx || EVP_CipherInit_ex(ctx.get(), EVP_aes_128_ecb(), nullptr, kKey, nullptr, encrypt ? 1 : 0) != 1) {
    return false;
  }
  EVP_CIPHER_CTX_set_padding(ctx.get(), 0);
  int written = 0, last = 0;
  if (EVP_CipherUpdate(ctx.get(), out, &written, in, length) != 1) return false;
  if (EVP_CipherFinal_ex(ctx.get(), out + written, &last) != 1) return false;
  return written + last == length;
}

bool validUtf8(const std::string& s) {
  for (size_t i = 0; i < s.size();) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    int extra = c < 0x80 ? 0 : (c >> 5) == 0x6 ? 1 : (c >> 4) == 0xe ? 2 : (c >> 3) == 0x1e ? 3 : -1;
    if (extra < 0 || i + static_cast<size_t>(extra) >= s.size()) return false;
    for (int k = 1; k <= extra; ++k) {
      if ((static_cast<unsigned char>(s[i + k]) >> 6) != 0x2) return false;
    }
    i += static_cast<size_t>(extra) + 1;
  }
  return true;
}

}  // namespace

std::string OrvoCrypt::decryptText(const std::string& stored) {
  if (stored.empty() || stored.size() % 4 != 0) return {};
  std::vector<unsigned char> raw(stored.size() / 4 * 3);
  int decoded = EVP_DecodeBlock(raw.data(), reinterpret_cast<const unsigned char*>(stored.data()),
                                static_cast<int>(stored.size()));
  if (decoded < 0) return {};
  // EVP_DecodeBlock counts the '=' padding as zero bytes; drop them.
  size_t length = static_cast<size_t>(decoded);
  if (stored.back() == '=') --length;
  if (stored.size() > 1 && stored[stored.size() - 2] == '=') --length;
  if (length == 0 || length % 16 != 0) return {};
  std::vector<unsigned char> plain(length);
  if (!aes(raw.data(), static_cast<int>(length), plain.data(), false)) return {};
  std::string text(plain.begin(), plain.end());
  while (!text.empty() && text.back() == '\0') text.pop_back();
  if (text.find('\0') != std::string::npos || !validUtf8(text)) return {};
  return text;
}

std::string OrvoCrypt::encryptText(const std::string& plain) {
  std::vector<unsigned char> block(plain.begin(), plain.end());
  block.resize((block.size() / 16 + 1) * 16, 0);  // at least one NUL, so the end is always found
  std::vector<unsigned char> cipher(block.size());
  if (!aes(block.data(), static_cast<int>(block.size()), cipher.data(), true)) return {};
  std::string out(4 * ((cipher.size() + 2) / 3) + 1, '\0');
  int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), cipher.data(), static_cast<int>(cipher.size()));
  out.resize(static_cast<size_t>(n));
  return out;
}

}  // namespace nudora
