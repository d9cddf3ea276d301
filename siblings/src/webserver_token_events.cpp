#include <utility>

#include <spdlog/spdlog.h>

#include "mura_common/ipc_typed.h"
#include "tavi/file_name.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::webserver_token {

namespace {

using receiver_interface = i_sub_webserver_token_service_handler;

constexpr char const* const publisher_name = mura_common::ipc_interface<receiver_interface>::service;

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
    : subscription(std::move(subscriber), publisher_name), handler(target) {
}

bool sub_webserver_token_service::subscribe_to_file_uploaded() {
  constexpr auto event = &receiver_interface::on_file_uploaded;
  return subscribe(mura_common::name_of<event>, [&next = handler](nlohmann::json const& arguments) {
    careful_receiver careful(next);
    mura_common::deliver<event>(careful, arguments);
  });
}

pub_webserver_token_service::pub_webserver_token_service() : publisher(publisher_name) {
}

bool pub_webserver_token_service::publish_file_uploaded(std::string const& token,
                                                        std::string const& file_name,
                                                        std::string const& file_path) {
  return mura_common::publish<&receiver_interface::on_file_uploaded>(*this, token, file_name, file_path);
}

}  // namespace tavi::webserver_token
