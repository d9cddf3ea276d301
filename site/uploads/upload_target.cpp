#include "uploads/upload_target.h"

namespace tavi::site {

std::optional<upload_target> parse_upload_target(std::string_view target) {
  return http::parse_token_target("/upload/", target);
}

}  // namespace tavi::site
