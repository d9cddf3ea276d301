#pragma once

#include <optional>
#include <string>

#include <gmock/gmock.h>

#include "mura_common/config.h"

/// A configuration whose every access a test can expect and answer.
class mock_configuration : public mura_common::IConfigParameterProvider {
 public:
  MOCK_METHOD(bool, save, (), (override));
  MOCK_METHOD(std::optional<mura_common::config_value>, read,
              (std::string const& key, mura_common::config_value const& wanted), (override));
  MOCK_METHOD(bool, accepts, (std::string const& key, mura_common::config_value const& value),
              (const, override));
  MOCK_METHOD(void, write, (std::string const& key, mura_common::config_value const& value), (override));
};
