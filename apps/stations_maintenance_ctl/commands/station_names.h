#pragma once

#include <map>
#include <string>

#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"

namespace tavi::ctl {

/// The identities of the site's stations. They are asked for, of the OCPP 1.6 service, when a number is met for
/// the first time.
class station_names {
 public:
  /// The identity of a station; empty when it is not known, or the service does not run. May wait for the
  /// service.
  [[nodiscard]] std::string const& find(unsigned int station);

 private:
  ocpp1_6::req_resp_ocpp_1_6_service service;
  std::map<unsigned int, std::string> identities;  ///< of every number that was met, and of the others then
};

}  // namespace tavi::ctl
