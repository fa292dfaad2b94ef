#pragma once
// Shader text is stored as base64 of an AES-128-ECB cipher text under the
// library's own 16-byte key (no padding mode: the plain text is padded with
// NUL bytes to a whole block before enciphering and the NULs are dropped
// again after deciphering).
//
// Thread rules: stateless; callable from any thread.

#include <string>

namespace nudora {

class OrvoCrypt {
 public:
  // The plain text, or an empty string when the input is not valid base64 of
  // whole cipher blocks or does not decipher to UTF-8 text.
  static std::string decryptText(const std::string& stored);
  // The stored form of a plain text (used when the library is built).
  static std::string encryptText(const std::string& plain);
};

}  // namespace nudora
