#include <utility>

#include "mura_common/ipc_typed.h"
#include "tavi/logger/sub_logger_service.h"

namespace tavi::logger {

namespace {

using event_receiver = i_sub_logger_service_handler;

constexpr char const* const publisher_name = mura_common::ipc_interface<event_receiver>::service;

}  // namespace

sub_logger_service::sub_logger_service(std::string subscriber, i_sub_logger_service_handler& target)
    : subscription(std::move(subscriber), publisher_name), handler(target) {
}

bool sub_logger_service::subscribe_to_functional_log() {
  return mura_common::bind_event<&event_receiver::on_functional_log>(*this, handler);
}

pub_logger_service::pub_logger_service() : publisher(publisher_name) {
}

bool pub_logger_service::publish_functional_log(unsigned int category, unsigned int subtype,
                                                std::string const& text) {
  return mura_common::publish<&event_receiver::on_functional_log>(*this, category, subtype, text);
}

}  // namespace tavi::logger
