#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mura_common/database.h"
#include "stations_maintenance/station_firmware_info.h"

namespace tavi::stations_maintenance {

class stations_model_table;

/// The database's record of the station firmwares, and of the station models that each one fits.
///
/// A row begins as a placeholder, with at most a version, when an upload is announced; it is completed with
/// the file's path, size and hash once the file is stored, and goes when the firmware is removed, its
/// associations with it. A row without a path is an upload that never finished: lists hold it, counts do not.
/// Nothing is cached; every operation goes to the database. On a database error an operation logs one line
/// and returns false, nothing or one of the codes below. There is no lock: callers take turns, and nobody
/// else inserts.
class firmware_table : public mura_common::DatabaseTable {
 public:
  /// Code of `add_firmware` and `associate_models_to_firmware`: done.
  static constexpr std::uint32_t success = 0;
  /// As `success`: no model was given, or the site does not know one.
  static constexpr std::uint32_t unknown_model = 3;
  /// As `success`: the database failed to find a model or to associate it.
  static constexpr std::uint32_t association_error = 4;
  /// As `success`: a statement is missing, or the firmware's row could not be added. Also the count that
  /// could not be taken.
  static constexpr std::uint32_t failure = 0xFFFF'FFFF;

  /// @param database  must outlive the table; need not be open before `initTable`
  /// @param models    the models that firmware can be tied to; must outlive this table and be brought up
  ///                  before
  firmware_table(mura_common::IDatabase& database, stations_model_table& models);

  /// Creates both tables if they are missing and prepares every statement.
  /// @return whether all of it succeeded
  bool init() override;
  /// There is one version of the schema so far: changes nothing. @return true
  bool update(unsigned int from_version, unsigned int& to_version) override;

  /// Creates a table if it is missing.
  /// @param name     of the table
  /// @param columns  their definitions and constraints, as they stand between the statement's parentheses
  /// @return whether the statement ran
  bool create_table(char const* name, std::string const& columns);

  /// Adds a placeholder for an announced firmware and ties it to station models.
  ///
  /// The row is removed again when not even its first model could be associated. When a later one could not,
  /// the code tells it, but the firmware stays with the models associated so far, unless the database
  /// itself gave up, as when it is full. All of it is one transaction: a crash in between leaves nothing.
  /// @param version  empty when it was not told
  /// @param models   names of the models, in the order in which they are associated; one named twice is
  ///                 associated twice
  /// @param id       receives the firmware's id, also when the row was removed again or not committed; unchanged
  ///                 when the row could not be added or its id not be read
  /// @return one of the codes above
  std::uint32_t add_firmware(std::optional<std::string> const& version,
                             std::vector<std::string> const& models, unsigned int& id);

  /// Ties a firmware to station models, up to the first one that cannot be.
  /// @param association_failed  receives whether no model at all was associated; unchanged when the
  ///                            statement is missing
  /// @return one of the codes above
  std::uint32_t associate_models_to_firmware(unsigned int firmware_id, std::vector<std::string> const& models,
                                             bool& association_failed);

  /// Completes a firmware with what is known once its file is stored.
  /// @param path  full path of the file
  /// @param size  in bytes
  /// @return whether the statement ran; an unknown id is no error
  bool update_stored_firmware_info(unsigned int id, std::string const& version, std::string const& path,
                                   unsigned long size, std::string const& hash);

  /// One firmware with its models. @return empty when there is none with this id, or on a database error
  std::optional<station_firmware_info> get_firmware(unsigned int id);

  /// Every firmware with its models, placeholders included, in the database's order.
  /// @return an empty list when there is none; nothing on a database error, be it in the midst of the rows
  std::optional<std::vector<station_firmware_info>> get_all_firmwares();

  /// The firmwares tied to a model, with all their models, placeholders included, in the database's order.
  /// @return an empty list when there is none; nothing for an unknown model, or as `get_all_firmwares`
  std::optional<std::vector<station_firmware_info>> get_firmware_from_model(std::string const& model);

  /// Names of the models that a firmware is tied to, sorted.
  /// @return empty, with an error in the log, when there is none, and on a database error
  std::vector<std::string> models_associated_to_firmware(unsigned int id);

  /// How many firmwares have their file. @return `failure` on a database error
  std::uint32_t nb_stored_firmware();
  /// How many firmwares tied to a model have their file; 0 for an unknown model.
  /// @return `failure` on a database error
  std::uint32_t nb_stored_firmware_for_model(std::string const& model);

  /// Removes a firmware's row and its associations.
  /// @return whether the statement ran; an unknown id is no error
  bool remove_firmware(unsigned int id);

  /// Reads the current row of a select of all columns of the firmwares; its models are not among them.
  static station_firmware_info firmware_info_from_query(mura_common::IQuery const& query);

 private:
  bool note_database_error();
  [[nodiscard]] bool prepare_firmware_statements();
  [[nodiscard]] bool prepare_relation_statements();
  [[nodiscard]] bool remove_abandoned_uploads();
  void create_relation_index();
  [[nodiscard]] std::uint32_t associate_last_added(std::vector<std::string> const& models, unsigned int& id);
  [[nodiscard]] std::uint32_t associate_model(unsigned int firmware_id, std::string const& model);
  [[nodiscard]] std::optional<std::vector<station_firmware_info>> fetch_all(mura_common::statement& run);

  std::unique_ptr<mura_common::IQuery> insert_firmware_query;
  std::unique_ptr<mura_common::IQuery> update_firmware_query;
  std::unique_ptr<mura_common::IQuery> insert_association_query;
  std::unique_ptr<mura_common::IQuery> max_id_query;
  std::unique_ptr<mura_common::IQuery> select_all_query;
  std::unique_ptr<mura_common::IQuery> select_by_id_query;
  std::unique_ptr<mura_common::IQuery> models_of_firmware_query;
  std::unique_ptr<mura_common::IQuery> firmwares_of_model_query;
  std::unique_ptr<mura_common::IQuery> delete_by_id_query;
  std::unique_ptr<mura_common::IQuery> count_query;
  std::unique_ptr<mura_common::IQuery> count_for_model_query;
  stations_model_table& known_models;
};

}  // namespace tavi::stations_maintenance
