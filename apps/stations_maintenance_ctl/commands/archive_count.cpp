#include "commands/archive_count.h"

#include <algorithm>
#include <fstream>
#include <string>

namespace tavi::ctl {

namespace {

constexpr char const* const end_signature = "PK\x05\x06";
constexpr std::size_t end_size = 22;
constexpr std::size_t count_offset = 10;
constexpr std::size_t comment_size_offset = 20;
constexpr std::uint32_t most_comment = 0xFFFF;
/// Stands in the record when the number does not fit into it.
constexpr std::uint32_t uncounted = 0xFFFF;

std::uint32_t number_at(std::string const& bytes, std::size_t at) {
  auto const byte = [&](std::size_t index) {
    return std::uint32_t{static_cast<unsigned char>(bytes[index])};
  };
  return byte(at) | byte(at + 1) << 8U;
}

/// The last bytes of a file, as many as its end record and a comment behind that can have.
std::string read_tail(std::filesystem::path const& archive) {
  std::ifstream file(archive, std::ios::binary | std::ios::ate);
  auto const size = static_cast<std::streamoff>(file.tellg());
  if (size <= 0) {
    return {};
  }
  std::string tail(static_cast<std::size_t>(std::min<std::streamoff>(size, end_size + most_comment)), '\0');
  file.seekg(size - static_cast<std::streamoff>(tail.size()));
  return file.read(tail.data(), static_cast<std::streamsize>(tail.size())) ? tail : std::string();
}

}  // namespace

std::optional<std::uint32_t> count_archived_files(std::filesystem::path const& archive) {
  auto const tail = read_tail(archive);
  for (auto at = tail.rfind(end_signature); at != std::string::npos && at < tail.size();
       at = at == 0 ? std::string::npos : tail.rfind(end_signature, at - 1)) {
    // The signature may stand in a comment too: there the record would not reach exactly to the file's end.
    if (at + end_size <= tail.size() &&
        at + end_size + number_at(tail, at + comment_size_offset) == tail.size()) {
      auto const count = number_at(tail, at + count_offset);
      return count == uncounted ? std::nullopt : std::optional(count);
    }
  }
  return std::nullopt;
}

}  // namespace tavi::ctl
