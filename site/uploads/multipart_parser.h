#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavi::site::uploads {

/// Takes the first file out of a multipart/form-data body that arrives in pieces.
///
/// Reads until the final boundary; then it is complete, and what follows is ignored. Parts without a file
/// name, and files after the first, are passed over. It is broken by a boundary line that goes on with
/// anything but blanks, and by a part header that is larger than 8 KiB; nothing makes it whole again. Holds
/// no more than one part header and one boundary, whatever comes. Does no input or output.
class multipart_parser {
 public:
  /// How far the body is.
  enum class state {
    reading,   ///< the final boundary has not come yet: a body that ends now is broken
    complete,  ///< the final boundary was read
    broken     ///< this is no multipart body with the given boundary
  };

  /// @param boundary  without the leading "--"; 1 to 70 characters
  explicit multipart_parser(std::string_view boundary);

  /// Reads the next piece of the body.
  /// @param chunk  of any size
  /// @param file   bytes of the file that have become certain are appended
  /// @return the state after it
  state feed(std::string_view chunk, std::string& file);

  /// Whether the header of a part with a file name has been read.
  [[nodiscard]] bool has_file() const { return is_file_found; }

  /// The name of the file as the part gives it, decoded; empty before `has_file`.
  [[nodiscard]] std::string const& file_name() const { return name; }

 private:
  enum class place { between, after_boundary, header, file, epilogue };

  [[nodiscard]] std::string_view rest() const { return std::string_view(pending).substr(begin); }
  bool step(std::string& file);
  bool skip_or_copy(std::string* file);
  bool read_boundary_end();
  bool read_header();
  void read_field(std::string_view line);
  bool fail();

  std::string delimiter;
  std::string pending;
  std::size_t begin = 0;  // of what is pending; the bytes before it are done with
  std::string name;
  std::size_t dropped = 0;  // bytes at the begin of what is pending that are no content
  place position = place::between;
  state current = state::reading;
  bool is_file_found = false;
  bool is_file_part = false;
};

}  // namespace tavi::site::uploads
