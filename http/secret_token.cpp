#include "secret_token.h"

#include <algorithm>
#include <array>

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <spdlog/spdlog.h>

namespace tavi::http {
namespace {

constexpr std::size_t token_bytes = 32;

std::string to_base64url(std::span<std::uint8_t const> bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  auto const size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                                    static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(size));
  text.erase(text.find_last_not_of('=') + 1);
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  return text;
}

}  // namespace

bool fill_from_system(std::span<std::uint8_t> bytes) {
  return RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1;
}

std::optional<std::string> make_secret_token(random_source const& random) {
  std::array<std::uint8_t, token_bytes> bytes{};
  if (!random(bytes)) {
    spdlog::error("[secret_token] the system gives no random bytes; no token is made");
    return std::nullopt;
  }
  return to_base64url(bytes);
}

std::string key_of_secret(std::string_view token) {
  std::string digest(EVP_MAX_MD_SIZE, '\0');
  unsigned int size = 0;
  auto const done = EVP_Digest(token.data(), token.size(), reinterpret_cast<unsigned char*>(digest.data()),
                               &size, EVP_sha256(), nullptr);
  digest.resize(done == 1 ? size : 0);
  return digest;
}

bool is_same_secret(std::string_view left, std::string_view right) {
  return left.size() == right.size() && CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace tavi::http
