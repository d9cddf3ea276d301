#include <optional>
#include <string>

#include <spdlog/spdlog.h>

#include "mura_common/database.h"

namespace mura_common {

namespace {

/// A write transaction that is undone unless it was committed.
class transaction {
 public:
  explicit transaction(IDatabase& target) : database(target) {}
  ~transaction() {
    if (begun) {
      static_cast<void>(run("ROLLBACK"));
    }
  }
  transaction(transaction const&) = delete;
  transaction& operator=(transaction const&) = delete;

  [[nodiscard]] bool begin() {
    begun = run("BEGIN IMMEDIATE");
    return begun;
  }
  [[nodiscard]] bool commit() {
    bool const committed = run("COMMIT");
    begun = !committed;
    return committed;
  }

  /// Why the last step failed.
  [[nodiscard]] std::string const& reason() const { return error; }

 private:
  bool run(char const* sql) {
    auto const query = database.create_query(sql);
    if (query == nullptr) {
      error = database.last_error();
      return false;
    }
    if (!query->execute()) {
      error = query->last_error();
      return false;
    }
    return true;
  }

  IDatabase& database;
  bool begun = false;
  std::string error;
};

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
      "CREATE TABLE IF NOT EXISTS FrameworkTableVersions (name TEXT PRIMARY KEY NOT NULL, version INTEGER "
      "NOT "
      "NULL)");
  if (create == nullptr || !create->execute()) {
    log_failure(table, "create the versions' table", create ? create->last_error() : database.last_error());
    return {};
  }
  auto const select = database.create_query("SELECT version FROM FrameworkTableVersions WHERE name = ?");
  if (select == nullptr || !select->bind_text(0, table) || !select->execute()) {
    log_failure(table, "read its version", select ? select->last_error() : database.last_error());
    return {};
  }
  version_note note;
  if (select->has_row()) {
    note.version = select->get_int64(0);
  }
  return note;
}

}  // namespace

DatabaseTable::DatabaseTable(IDatabase& database, std::string const& name, unsigned int version)
    : home(database), noted_name(name), own_version(version) {
}

bool DatabaseTable::initTable() {
  transaction work(home);
  if (!work.begin()) {
    log_failure(noted_name, "begin a transaction", work.reason());
    return false;
  }
  if (!init_in_transaction()) {
    return false;
  }
  if (!work.commit()) {
    log_failure(noted_name, "commit its schema", work.reason());
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
    log_failure(noted_name, "init", home.last_error());
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
                home.last_error());
    return false;
  }
  return note(reached);
}

bool DatabaseTable::note(unsigned int reached) {
  auto const query = home.create_query(
      "INSERT INTO FrameworkTableVersions (name, version) VALUES (?, ?) "
      "ON CONFLICT (name) DO UPDATE SET version = excluded.version");
  if (query == nullptr || !query->bind_text(0, noted_name) || !query->bind_uint32(1, reached) ||
      !query->execute()) {
    log_failure(noted_name, fmt::format("note version {}", reached),
                query ? query->last_error() : home.last_error());
    return false;
  }
  return true;
}

}  // namespace mura_common
