#include "network/network_service.h"

#include <ostream>

#include <gtest/gtest.h>

namespace tavi::site::network {
namespace {

struct address_case {
  char const* name;
  char const* advertised;
  char const* listening;
  std::optional<std::string> expected;
};

void PrintTo(address_case const& row, std::ostream* out) {
  *out << row.name;
}

class advertised_address : public testing::TestWithParam<address_case> {};

TEST_P(advertised_address, IsWhatStationsCanReach) {
  auto const& row = GetParam();
  EXPECT_EQ(make_advertised_address(row.advertised, row.listening, "controller", 8180), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, advertised_address,
    testing::Values(address_case{"ListeningAddressWhenNothingIsSaid", "", "192.0.2.7", "192.0.2.7:8180"},
                    address_case{"BracketsForListeningIpv6", "", "::1", "[::1]:8180"},
                    address_case{"HostNameForEveryIpv4Address", "", "0.0.0.0", "controller:8180"},
                    address_case{"HostNameForEveryIpv6Address", "", "::", "controller:8180"},
                    address_case{"HostGetsThePort", "site.example", "0.0.0.0", "site.example:8180"},
                    address_case{"PortOfTheOperatorWins", "site.example:80", "0.0.0.0", "site.example:80"},
                    address_case{"BracketedIpv6GetsThePort", "[fe80::1]", "::", "[fe80::1]:8180"},
                    address_case{"BracketedIpv6WithPort", "[fe80::1]:81", "::", "[fe80::1]:81"},
                    address_case{"BareIpv6IsRefused", "fe80::1", "::", std::nullopt},
                    address_case{"PortZeroIsRefused", "host:0", "::", std::nullopt},
                    address_case{"PortTooLargeIsRefused", "host:65536", "::", std::nullopt},
                    address_case{"PortWithLettersIsRefused", "host:80a", "::", std::nullopt},
                    address_case{"EmptyPortIsRefused", "host:", "::", std::nullopt},
                    address_case{"EmptyHostIsRefused", ":80", "::", std::nullopt},
                    address_case{"UrlIsRefused", "http://host", "::", std::nullopt},
                    address_case{"BlankIsRefused", "a b", "::", std::nullopt}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(NetworkService, AnswersWithTheAddressItWasGiven) {
  network_service service("10.0.0.1:80");
  EXPECT_EQ(service.on_get_network_config(), (tavi::network::network_config{"10.0.0.1:80"}));
}

}  // namespace
}  // namespace tavi::site::network
