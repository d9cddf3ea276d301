#include "commands/station_names.h"

#include "commands/endpoint_probe.h"
#include "mura_common/ipc.h"

namespace tavi::ctl {

std::string const& station_names::find(unsigned int station) {
  auto const known = identities.find(station);
  if (known != identities.end()) {
    return known->second;
  }
  if (probe_endpoint(mura_common::runtime_directory() / "ocpp_1_6_service.req") == 0) {
    for (auto const& one : service.get_charging_stations()) {
      identities[one.id] = one.identity;
    }
  }
  return identities[station];
}

}  // namespace tavi::ctl
