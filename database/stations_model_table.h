#pragma once

#include <list>
#include <memory>
#include <string>

#include "mura_common/database.h"

namespace tavi::stations {
struct station_model;
}

namespace tavi::stations_maintenance {

/// The database's record of the station models that the site knows, by name: what firmware is tied to.
///
/// It is filled at every start from the supported models; a name that is there already stays as it is, with
/// its id, and none is ever removed: firmware can be tied to a model that is supported no more. On a database
/// error an operation logs one line and returns false. There is no lock: callers take turns.
class stations_model_table : public mura_common::DatabaseTable {
 public:
  /// @param database  must outlive the table; need not be open before `initTable`
  explicit stations_model_table(mura_common::IDatabase& database);

  /// Creates the table if it is missing and prepares the look-up of ids.
  /// @return whether the table is there; a look-up that could not be prepared shows in `get_model_id` only
  bool init() override;
  /// There is one version of the schema so far: changes nothing. @return true
  bool update(unsigned int from_version, unsigned int& to_version) override;

  /// Adds the names that the table lacks.
  /// @param models  only their names count
  /// @return whether every name is in the table now; false for an empty list. A name that cannot be added
  ///         does not keep the others out
  bool add_stations_models(std::list<tavi::stations::station_model> const& models);

  /// Finds a model's id; the name is compared exactly.
  /// @param id  receives the id, at least 1; -1 for an unknown name and after a failure
  /// @return whether the look-up ran: true for an unknown name too, so callers check `id` as well
  bool get_model_id(std::string const& name, int& id);

 private:
  std::unique_ptr<mura_common::IQuery> select_model_id_query;
};

}  // namespace tavi::stations_maintenance
