#include <utility>

#include <spdlog/spdlog.h>

#include "mura_common/ipc_typed.h"
#include "service_names.h"
#include "tavi/file_name.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::webserver_token {

namespace {

constexpr char const* const file_uploaded = "file_uploaded";

/// Stands between the wire and the receiver, so that no name from outside gets further than here.
class careful_receiver : public i_sub_webserver_token_service_handler {
 public:
  explicit careful_receiver(i_sub_webserver_token_service_handler& next) : receiver(next) {}

  void on_file_uploaded(std::string const& token, std::string const& file_name,
                        std::string const& file_path) override {
    receiver.on_file_uploaded(token, harmless_file_name(file_name), file_path);
  }

 private:
  i_sub_webserver_token_service_handler& receiver;
};

}  // namespace

sub_webserver_token_service::sub_webserver_token_service(std::string subscriber,
                                                         i_sub_webserver_token_service_handler& target)
    : subscription(std::move(subscriber), webserver_token_service_name), handler(target) {
}

bool sub_webserver_token_service::subscribe_to_file_uploaded() {
  return subscribe(file_uploaded, [&next = handler](nlohmann::json const& arguments) {
    careful_receiver careful(next);
    mura_common::deliver(careful, &i_sub_webserver_token_service_handler::on_file_uploaded, arguments);
  });
}

pub_webserver_token_service::pub_webserver_token_service() : publisher(webserver_token_service_name) {
}

bool pub_webserver_token_service::publish_file_uploaded(std::string const& token,
                                                        std::string const& file_name,
                                                        std::string const& file_path) {
  return mura_common::publish(*this, file_uploaded, &i_sub_webserver_token_service_handler::on_file_uploaded,
                              token, file_name, file_path);
}

}  // namespace tavi::webserver_token
