#pragma once

#include <list>
#include <string>
#include <vector>

#include "tavi/export.h"

namespace tavi::stations {

/// One kind of station that the site supports.
struct station_model {
  std::string name;                 ///< what the site calls it
  std::string vendor;               ///< chargePointVendor that its stations tell
  std::vector<std::string> models;  ///< every chargePointModel that its stations tell

  bool operator==(station_model const&) const = default;
};

/// Knows the kinds of stations that the site supports.
class TAVI_SIBLINGS_EXPORT i_station_model_provider {
 public:
  virtual ~i_station_model_provider() = default;

  /// Reads the supported kinds from a file, in the place of those read before.
  /// @param path  JSON: {"stations": [{"name": "X7-22", "vendor": "Acme", "models": ["X7-22", "X7-22-S"]}]}
  /// @return false, with a line in the log and no kind known, when the file cannot be read or has another form
  virtual bool load(std::string const& path) = 0;

  /// The kinds read, in the file's order.
  [[nodiscard]] virtual std::list<station_model> const& get_station_models() const = 0;

  /// The name of the first kind with this vendor and model, both compared exactly.
  /// @return the name, which lives until the next `load`; nullptr when no kind fits
  [[nodiscard]] virtual std::string const* find_station_model(std::string const& vendor,
                                                              std::string const& model) const = 0;
};

/// The provider that a service uses.
class TAVI_SIBLINGS_EXPORT station_model_provider : public i_station_model_provider {
 public:
  /// Name of the file in a service's configuration directory.
  static std::string const DEFAULT_SUPPORTED_STATIONS_FILE;

  bool load(std::string const& path) override;
  [[nodiscard]] std::list<station_model> const& get_station_models() const override;
  [[nodiscard]] std::string const* find_station_model(std::string const& vendor,
                                                      std::string const& model) const override;

 private:
  std::list<station_model> station_models;
};

}  // namespace tavi::stations
