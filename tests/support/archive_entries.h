#pragma once

#include <stdio.h>

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// The entries of a zip archive in their order: the names, byte for byte as they stand in it, and the
/// contents. Read by another program than made it, which checks every sum on the way.
/// @throw std::runtime_error  when it is no whole archive
inline std::vector<std::pair<std::string, std::string>> archive_entries(
    std::filesystem::path const& archive) {
  // Each name and each content is written after its length.
  std::string const script = R"(
import struct, sys, zipfile
out = sys.stdout.buffer
with zipfile.ZipFile(sys.argv[1]) as archive:
    for entry in archive.infolist():
        encoding = "utf-8" if entry.flag_bits & 0x800 else "cp437"
        for part in (entry.orig_filename.encode(encoding), archive.read(entry)):
            out.write(struct.pack("=Q", len(part)) + part)
)";
  auto const command = "python3 -c '" + script + "' '" + archive.string() + "' 2>&1";
  FILE* const program = popen(command.c_str(), "re");
  if (program == nullptr) {
    throw std::runtime_error("cannot run python3");
  }
  std::string output;
  char piece[4096];
  for (std::size_t length = 0; (length = fread(piece, 1, sizeof(piece), program)) != 0;) {
    output.append(piece, length);
  }
  if (pclose(program) != 0) {
    throw std::runtime_error("cannot read " + archive.string() + ": " + output);
  }
  std::vector<std::string> parts;
  for (std::size_t at = 0; at < output.size();) {
    std::uint64_t length = 0;
    output.copy(reinterpret_cast<char*>(&length), sizeof(length), at);
    parts.push_back(output.substr(at + sizeof(length), length));
    at += sizeof(length) + length;
  }
  std::vector<std::pair<std::string, std::string>> entries;
  for (std::size_t index = 0; index + 1 < parts.size(); index += 2) {
    entries.emplace_back(parts[index], parts[index + 1]);
  }
  return entries;
}
