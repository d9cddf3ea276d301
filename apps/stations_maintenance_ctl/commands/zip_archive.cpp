#include "commands/zip_archive.h"

#include <algorithm>
#include <fstream>
#include <string>
#include <string_view>

namespace tavi::ctl {

namespace {

constexpr char const* const end_signature = "PK\x05\x06";
constexpr std::size_t end_size = 22;
constexpr std::size_t count_offset = 10;
constexpr std::size_t comment_size_offset = 20;
constexpr std::size_t list_size_offset = 12;
constexpr std::size_t list_offset_offset = 16;
constexpr std::string_view entry_signature = "PK\x01\x02";
constexpr std::size_t entry_size = 46;
constexpr std::size_t entry_bytes_offset = 24;
/// Two numbers more follow: of what else stands behind the name.
constexpr std::size_t entry_name_size_offset = 28;
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

std::uint32_t long_number_at(std::string const& bytes, std::size_t at) {
  return number_at(bytes, at) | number_at(bytes, at + 2) << 16U;
}

/// The record at the end of an archive. @return empty when there is none
std::string find_end_record(std::filesystem::path const& archive) {
  auto const tail = read_tail(archive);
  for (auto at = tail.rfind(end_signature); at != std::string::npos && at < tail.size();
       at = at == 0 ? std::string::npos : tail.rfind(end_signature, at - 1)) {
    // The signature may stand in a comment too: there the record would not reach exactly to the file's end.
    if (at + end_size <= tail.size() &&
        at + end_size + number_at(tail, at + comment_size_offset) == tail.size()) {
      return tail.substr(at, end_size);
    }
  }
  return {};
}

/// Part of a file. @return empty when it has not as much
std::string read_part(std::filesystem::path const& path, std::uint32_t offset, std::uint32_t size) {
  std::error_code error;
  auto const whole = std::filesystem::file_size(path, error);
  if (error || std::uint64_t{offset} + size > whole) {
    return {};
  }
  std::ifstream file(path, std::ios::binary);
  file.seekg(offset);
  std::string part(size, '\0');
  return file.read(part.data(), static_cast<std::streamsize>(size)) ? part : std::string();
}

/// The file whose entry in the list begins at `at`, which is moved on behind it. @return empty when there
/// is none
std::optional<archived_file> take_entry(std::string const& list, std::size_t& at) {
  if (list.compare(at, entry_signature.size(), entry_signature) != 0 || list.size() - at < entry_size) {
    return std::nullopt;
  }
  auto const name_size = number_at(list, at + entry_name_size_offset);
  auto const end = at + entry_size + name_size + number_at(list, at + entry_name_size_offset + 2) +
                   number_at(list, at + entry_name_size_offset + 4);
  if (end > list.size()) {
    return std::nullopt;
  }
  archived_file file{list.substr(at + entry_size, name_size), long_number_at(list, at + entry_bytes_offset)};
  at = end;
  return file;
}

}  // namespace

std::optional<std::uint32_t> count_archived_files(std::filesystem::path const& archive) {
  auto const end = find_end_record(archive);
  auto const count = end.empty() ? uncounted : number_at(end, count_offset);
  return count == uncounted ? std::nullopt : std::optional(count);
}

std::optional<std::vector<archived_file>> list_archived_files(std::filesystem::path const& archive) {
  auto const end = find_end_record(archive);
  auto const count = end.empty() ? uncounted : number_at(end, count_offset);
  if (count == uncounted) {
    return std::nullopt;
  }
  auto const list =
      read_part(archive, long_number_at(end, list_offset_offset), long_number_at(end, list_size_offset));
  std::vector<archived_file> files;
  std::size_t at = 0;
  while (files.size() < count) {
    auto file = at < list.size() ? take_entry(list, at) : std::nullopt;
    if (!file) {
      return std::nullopt;
    }
    files.push_back(std::move(*file));
  }
  return files;
}

}  // namespace tavi::ctl
