#include <optional>
#include <string>

#include <spdlog/spdlog.h>

#include "mura_common/database.h"

namespace mura_common {

namespace {

void log_failure(std::string const& table, std::string const& step, std::string const& reason) {
  spdlog::error("[DatabaseTable] table {}: cannot {}: {}", table, step, reason);
}

/// What a note says: no version yet, or the one noted.
struct version_note {
  std::optional<std::int64_t> version;
};

/// @return the note, or nothing, with a line in the log, when it cannot be read
std::optional<version_note> read_note(IDatabase& database, std::string const& table) {
  auto const create = database.create_query(
      "CREATE TABLE IF NOT EXISTS FrameworkTableVersions "
      "(name TEXT PRIMARY KEY NOT NULL, version INTEGER NOT NULL)");
  if (!statement(create).is_done()) {
    log_failure(table, "create the versions' table", database.last_error());
    return {};
  }
  auto const select = database.create_query("SELECT version FROM FrameworkTableVersions WHERE name = ?");
  statement const noted(select, table);
  if (!noted.is_done()) {
    log_failure(table, "read its version", database.last_error());
    return {};
  }
  return version_note{noted.row([](IQuery const& row) { return row.get_int64(0); })};
}

}  // namespace

DatabaseTable::DatabaseTable(IDatabase& database, std::string const& name, unsigned int version)
    : home(database), noted_name(name), own_version(version) {
}

bool DatabaseTable::initTable() {
  noted_failure.clear();
  transaction work(home);
  if (!work.has_begun()) {
    log_failure(noted_name, "begin a transaction", work.error());
    return false;
  }
  if (!init_in_transaction()) {
    return false;
  }
  if (!work.commit()) {
    log_failure(noted_name, "commit its schema", work.error());
    return false;
  }
  return true;
}

bool DatabaseTable::init_in_transaction() {
  auto const noted = read_note(home, noted_name);
  if (!noted) {
    return false;
  }
  if (noted->version && (*noted->version < 0 || *noted->version > std::int64_t{own_version})) {
    log_failure(noted_name, "use its schema",
                fmt::format("version {} is noted, expected at most {}", *noted->version, own_version));
    return false;
  }
  if (!init()) {
    log_failure(noted_name, "init", reason_of_failure());
    return false;
  }
  return noted->version ? update_from(static_cast<unsigned int>(*noted->version)) : note(own_version);
}

bool DatabaseTable::update_from(unsigned int noted) {
  if (noted == own_version) {
    return true;
  }
  auto reached = own_version;
  if (!update(noted, reached)) {
    log_failure(noted_name, fmt::format("update from version {} to {}", noted, own_version),
                reason_of_failure());
    return false;
  }
  return note(reached);
}

bool DatabaseTable::note(unsigned int reached) {
  auto const query = home.create_query(
      "INSERT INTO FrameworkTableVersions (name, version) VALUES (?, ?) "
      "ON CONFLICT (name) DO UPDATE SET version = excluded.version");
  if (!statement(query, noted_name, reached).is_done()) {
    log_failure(noted_name, fmt::format("note version {}", reached), home.last_error());
    return false;
  }
  return true;
}

bool DatabaseTable::note_failure(std::string const& reason) {
  if (noted_failure.empty()) {
    noted_failure = reason;
  }
  return false;
}

std::string DatabaseTable::reason_of_failure() const {
  return noted_failure.empty() ? home.last_error() : noted_failure;
}

}  // namespace mura_common
