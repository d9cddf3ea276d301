#include "client_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using mura_common::call_failure;
using testing::Return;

struct configuration_case {
  char const* name;
  stations_maintenance_configuration configuration;
};

std::ostream& operator<<(std::ostream& out, configuration_case const& one) {
  return out << one.name;
}

class ConfigurationRequests : public RequestsTest {};

class EveryConfiguration : public ConfigurationRequests,
                           public testing::WithParamInterface<configuration_case> {};

TEST_P(EveryConfiguration, IsReadUnharmed) {
  EXPECT_CALL(handler, on_get_configuration()).WillOnce(Return(GetParam().configuration));
  auto const answer = client.get_configuration();
  EXPECT_EQ(answer.failure, call_failure::none);
  EXPECT_EQ(answer.value, GetParam().configuration);
}

TEST_P(EveryConfiguration, IsSetUnharmed) {
  EXPECT_CALL(handler, on_set_configuration(GetParam().configuration)).WillOnce(Return(true));
  EXPECT_EQ(client.set_configuration(GetParam().configuration).value, true);
}

INSTANTIATE_TEST_SUITE_P(
    Extremes, EveryConfiguration,
    testing::Values(configuration_case{"Blank", {}},
                    configuration_case{"InUse", {10, true, std::chrono::seconds(86400)}},
                    configuration_case{"Largest", {4294967295U, true, std::chrono::seconds::max()}},
                    configuration_case{"NegativePeriod", {0, false, std::chrono::seconds::min()}},
                    configuration_case{"SwitchedOffWithValues", {7, false, std::chrono::seconds(3600)}}),
    [](auto const& row) { return row.param.name; });

TEST_F(ConfigurationRequests, TellAConfigurationThatIsRefused) {
  EXPECT_CALL(handler, on_set_configuration).WillOnce(Return(false));
  auto const answer = client.set_configuration({});
  EXPECT_EQ(answer.value, false);
  EXPECT_EQ(answer.failure, call_failure::none);
}

TEST_F(ConfigurationRequests, TellAnAbsentConfigurationFromAFailedRequest) {
  EXPECT_CALL(handler, on_get_configuration()).WillOnce(Return(std::nullopt));
  auto const answer = client.get_configuration();
  ASSERT_TRUE(answer.value.has_value());
  EXPECT_FALSE(answer.value->has_value());
  EXPECT_EQ(answer.failure, call_failure::none);
}

}  // namespace
}  // namespace tavi::stations_maintenance
