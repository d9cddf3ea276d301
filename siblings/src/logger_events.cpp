#include <utility>

#include "mura_common/ipc_typed.h"
#include "service_names.h"
#include "tavi/logger/sub_logger_service.h"

namespace tavi::logger {

namespace {

constexpr char const* const functional_log = "functional_log";

}  // namespace

sub_logger_service::sub_logger_service(std::string subscriber, i_sub_logger_service_handler& target)
    : subscription(std::move(subscriber), logger_service_name), handler(target) {
}

bool sub_logger_service::subscribe_to_functional_log() {
  return subscribe(functional_log, [&next = handler](nlohmann::json const& arguments) {
    mura_common::deliver(next, &i_sub_logger_service_handler::on_functional_log, arguments);
  });
}

pub_logger_service::pub_logger_service() : publisher(logger_service_name) {
}

bool pub_logger_service::publish_functional_log(unsigned int category, unsigned int subtype,
                                                std::string const& text) {
  return mura_common::publish(*this, functional_log, &i_sub_logger_service_handler::on_functional_log,
                              category, subtype, text);
}

}  // namespace tavi::logger
