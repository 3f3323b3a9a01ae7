// Subcommands of the ozrj program.  Each returns the process exit code and
// reports problems as one line on stderr.
#ifndef OZRJ_TOOLS_COMMANDS_H
#define OZRJ_TOOLS_COMMANDS_H

#include <string>
#include <vector>

#include "dds_file.h"
#include "image_io.h"

namespace ozrtool {

int cmdJpegEncode(const std::vector<std::string>& args);
int cmdJ2kDecode(const std::vector<std::string>& args);
int cmdDxtEncode(const std::vector<std::string>& args);
int cmdDxtDecode(const std::vector<std::string>& args);
int cmdTiffPack(const std::vector<std::string>& args);
int cmdTiffUnpack(const std::vector<std::string>& args);
int cmdDemo(const std::string& dir);

// Image <-> DXT texture through the library.
bool encodeDxt(const Image& img, DxtFormat format, DdsTexture* tex, std::string* error);
bool decodeDxt(const DdsTexture& tex, Image* img, std::string* error);

// Lossless JPEG2000 codestream file to image (cmd_j2k.cpp).
bool decodeJ2kFile(const std::string& path, Image* img, std::string* error);

// A photograph-like RGB test scene of the given size (deterministic).
Image makeScene(int width, int height);

// Prints "ozrj: message" on stderr and returns 1.
int fail(const std::string& message);

// Parses an integer option value; false when it is not a whole number.
bool parseInt(const std::string& s, int* v);

}  // namespace ozrtool

#endif
