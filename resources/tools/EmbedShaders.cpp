// Build step: turns the shader piece files (resources/shaders/<piece>.glsl)
// into C++ constants named as the pieces, stored plain or enciphered.
//
//   nudora_embed_shaders plain|cipher OUT.h OUT.cpp PRELUDE_DIR PIECE.glsl...
//
// A line "#prelude NAME" in a piece is replaced by PRELUDE_DIR/NAME.glsl, so
// the version and precision lines are written once for all pieces. A first
// line "#piece NAME" gives the constant's name when it is not the file's.
// Plain pieces are stored with a leading blank: text starting with a blank or
// an opening brace is used as it stands, anything else is deciphered.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "gpu/OrvoCrypt.h"

namespace fs = std::filesystem;

namespace {

bool readFile(const fs::path& path, std::string* out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::stringstream buffer;
  buffer << in.rdbuf();
  *out = buffer.str();
  return true;
}

bool expandPreludes(const fs::path& preludeDir, const std::string& text, std::string* out, const fs::path& piece) {
  std::istringstream in(text);
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    if (number == 1 && line.rfind("#piece ", 0) == 0) continue;
    if (line.rfind("#prelude ", 0) == 0) {
      std::string name = line.substr(9);
      std::string prelude;
      if (!readFile(preludeDir / (name + ".glsl"), &prelude)) {
        std::cerr << piece.string() << ":" << number << ": unknown prelude '" << name << "'\n";
        return false;
      }
      *out += prelude;
      if (!prelude.empty() && prelude.back() != '\n') *out += '\n';
    } else {
      *out += line + "\n";
    }
  }
  return true;
}

// The piece's name: its file name, unless the first line names it with
// "#piece NAME" (for names that make poor file names). The directive line
// itself is dropped from the stored text by expandPreludes.
std::string pieceName(const fs::path& path, const std::string& text) {
  const std::string directive = "#piece ";
  if (text.rfind(directive, 0) != 0) return path.stem().string();
  std::string name = text.substr(directive.size(), text.find('\n') - directive.size());
  while (!name.empty() && (name.back() == '\r' || name.back() == ' ')) name.pop_back();
  return name;
}

// A C++ string literal for any text, without raw-string delimiter worries.
std::string literal(const std::string& text) {
  std::string out = "\"";
  int column = 0;
  for (unsigned char c : text) {
    switch (c) {
      case '\\': out += "\\\\"; break;
      case '"': out += "\\\""; break;
      case '\n': out += "\\n\"\n    \""; column = 0; continue;
      case '\t': out += "\\t"; break;
      case '\r': break;
      default:
        if (c < 0x20 || c >= 0x7f) {
          char buf[8];
          std::snprintf(buf, sizeof(buf), "\\%03o", c);
          out += buf;
        } else {
          out += static_cast<char>(c);
        }
    }
    if (++column > 100) {
      out += "\"\n    \"";
      column = 0;
    }
  }
  return out + "\"";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::cerr << "usage: nudora_embed_shaders plain|cipher OUT.h OUT.cpp PRELUDE_DIR PIECE.glsl...\n";
    return 2;
  }
  const std::string mode = argv[1];
  if (mode != "plain" && mode != "cipher") {
    std::cerr << "nudora_embed_shaders: mode must be plain or cipher, not " << mode << "\n";
    return 2;
  }
  const fs::path header = argv[2], source = argv[3], preludeDir = argv[4];

  struct Piece {
    std::string name;
    std::string stored;
  };
  std::vector<Piece> pieces;
  for (int i = 5; i < argc; ++i) {
    fs::path path = argv[i];
    std::string text, expanded;
    if (!readFile(path, &text)) {
      std::cerr << "nudora_embed_shaders: cannot read " << path.string() << "\n";
      return 1;
    }
    if (!expandPreludes(preludeDir, text, &expanded, path)) return 1;
    std::string stored = mode == "plain" ? " " + expanded : nudora::OrvoCrypt::encryptText(expanded);
    if (stored.empty()) {
      std::cerr << "nudora_embed_shaders: cannot encipher " << path.string() << "\n";
      return 1;
    }
    pieces.push_back({pieceName(path, text), stored});
  }

  std::ofstream h(header), cpp(source);
  h << "#pragma once\n// Generated from resources/shaders by nudora_embed_shaders; do not edit.\n"
    << "// Each constant is a stored shader piece: plain text after a leading blank, or enciphered.\n\n"
    << "#include <span>\n#include <string_view>\n\nnamespace nudora {\n\n";
  for (const auto& p : pieces) h << "extern const char* const " << p.name << ";\n";
  h << "\n// The stored piece of that name, or nullptr when there is none.\n"
    << "const char* shaderPieceNamed(std::string_view name);\n"
    << "// Every piece name, in file-name order.\n"
    << "std::span<const std::string_view> shaderPieceNames();\n\n}  // namespace nudora\n";

  cpp << "// Generated from resources/shaders by nudora_embed_shaders; do not edit.\n"
      << "#include \"gpu/ShaderPieces.h\"\n\n#include <utility>\n\nnamespace nudora {\n\n";
  for (const auto& p : pieces) cpp << "const char* const " << p.name << " =\n    " << literal(p.stored) << ";\n\n";
  cpp << "const char* shaderPieceNamed(std::string_view name) {\n"
      << "  static const std::pair<std::string_view, const char*> kPieces[] = {\n";
  for (const auto& p : pieces) cpp << "      {\"" << p.name << "\", " << p.name << "},\n";
  cpp << "  };\n  for (const auto& [n, text] : kPieces) {\n    if (n == name) return text;\n  }\n"
      << "  return nullptr;\n}\n\n"
      << "std::span<const std::string_view> shaderPieceNames() {\n"
      << "  static const std::string_view kNames[] = {\n";
  for (const auto& p : pieces) cpp << "      \"" << p.name << "\",\n";
  cpp << "  };\n  return kNames;\n}\n\n}  // namespace nudora\n";
  if (!h || !cpp) {
    std::cerr << "nudora_embed_shaders: cannot write the output files\n";
    return 1;
  }
  return 0;
}
