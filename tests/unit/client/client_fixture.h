#pragma once

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "ipc_test.h"
#include "mock_stations_maintenance_handler.h"
#include "stations_maintenance/req_resp_stations_maintenance_service.h"
#include "stations_maintenance/req_resp_stations_maintenance_service_handler.h"

namespace tavi::stations_maintenance {

/// Text that has nothing in common with ASCII, and all that JSON has to escape.
inline constexpr char awkward_bytes[] = "\xc3\xa4 \xe2\x98\x83 \"quoted\" \\ / \n\t\x01\x7f [] {} \0 end";
inline std::string const awkward_text(awkward_bytes, sizeof(awkward_bytes) - 1);

/// Result codes by their numbers, those without a name included.
template <typename Result>
std::vector<Result> every(std::initializer_list<std::underlying_type_t<Result>> numbers) {
  std::vector<Result> codes;
  std::ranges::transform(numbers, std::back_inserter(codes), [](auto number) { return Result{number}; });
  return codes;
}

/// A client and a running server, with a handler that takes nothing but what the test expects.
class RequestsTest : public ipc_test {
 protected:
  RequestsTest() { EXPECT_TRUE(server.start()); }

  testing::StrictMock<mock_stations_maintenance_handler> handler;
  req_resp_stations_maintenance_service_handler server{handler};
  req_resp_stations_maintenance_service client{{generous, generous, generous}};
};

}  // namespace tavi::stations_maintenance
