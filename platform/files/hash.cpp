#include "mura_common/hash.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <utility>

#include <openssl/evp.h>

#include "files/file_descriptor.h"

namespace mura_common {

namespace {

constexpr std::size_t piece_size = std::size_t{128} << 10U;

struct context_freer {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

EVP_MD const* find_algorithm(Sha2::Type type) {
  switch (type) {
    case Sha2::Type::sha256:
      return EVP_sha256();
    case Sha2::Type::sha384:
      return EVP_sha384();
    case Sha2::Type::sha512:
      return EVP_sha512();
  }
  return nullptr;
}

file_descriptor open_regular_file(std::filesystem::path const& path) {
  // Not blocking: opening a pipe would otherwise wait for a writer.
  file_descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status = {};
  bool const usable = file.is_open() && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
  return usable ? std::move(file) : file_descriptor();
}

/// @return whether the file was read to its end
bool add_content(EVP_MD_CTX* context, file_descriptor const& file) {
  auto const buffer = std::make_unique<std::array<unsigned char, piece_size>>();
  while (true) {
    auto const length = ::read(file.get(), buffer->data(), buffer->size());
    if (length == 0) {
      return true;
    }
    bool const added =
        length > 0 && EVP_DigestUpdate(context, buffer->data(), static_cast<std::size_t>(length)) == 1;
    bool const interrupted = length < 0 && errno == EINTR;
    if (!added && !interrupted) {
      return false;
    }
  }
}

}  // namespace

std::vector<std::uint8_t> computeFileHash(Sha2::Type type, std::filesystem::path const& path) {
  auto const* const algorithm = find_algorithm(type);
  auto const file = open_regular_file(path);
  if (algorithm == nullptr || !file.is_open()) {
    return {};
  }
  std::unique_ptr<EVP_MD_CTX, context_freer> const context(EVP_MD_CTX_new());
  if (context == nullptr || EVP_DigestInit_ex(context.get(), algorithm, nullptr) != 1 ||
      !add_content(context.get(), file)) {
    return {};
  }
  std::vector<std::uint8_t> hash(static_cast<std::size_t>(EVP_MD_get_size(algorithm)));
  if (EVP_DigestFinal_ex(context.get(), hash.data(), nullptr) != 1) {
    return {};
  }
  return hash;
}

}  // namespace mura_common
