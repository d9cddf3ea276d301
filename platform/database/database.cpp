#include "mura_common/database.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <optional>
#include <system_error>
#include <utility>

#include <spdlog/spdlog.h>
#include <sqlite3.h>

#include "database/error_note.h"
#include "database/sqlite_query.h"
#include "files/file_descriptor.h"

namespace mura_common {

namespace {

constexpr int busy_timeout_milliseconds = 5000;
/// Of a new database: what it tells about the site is for its owner and group alone.
constexpr mode_t new_file_mode = S_IRUSR | S_IWUSR | S_IRGRP;

struct database_closer {
  void operator()(sqlite3* handle) const {
    // A query that is still there keeps the connection until its own end, instead of using freed memory.
    sqlite3_close_v2(handle);
  }
};

using owned_handle = std::unique_ptr<sqlite3, database_closer>;

/// Runs a statement of the set-up. @return the first value that it gives, empty when it gives none, or
/// nothing when it failed
std::optional<std::string> read_first_value(sqlite3* handle, char const* sql) {
  sqlite3_stmt* prepared = nullptr;
  if (sqlite3_prepare_v2(handle, sql, -1, &prepared, nullptr) != SQLITE_OK) {
    return {};
  }
  sqlite_query query(owned_statement(prepared), std::make_shared<error_note>());
  if (!query.execute()) {
    return {};
  }
  return query.get_text(0);
}

/// Keeps SQLite from moving the write-ahead log into the file at closing: a file that is refused keeps every
/// byte.
void set_checkpoint_at_close(sqlite3* handle, bool wanted) {
  sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, wanted ? 0 : 1, nullptr);
}

/// @return why the database must not be used; empty when it may
std::string find_damage(sqlite3* handle) {
  auto const answer = read_first_value(handle, "PRAGMA quick_check(1)");
  if (!answer) {
    return sqlite3_errmsg(handle);
  }
  return *answer == "ok" ? std::string() : "quick_check found: " + *answer;
}

/// @return why the connection cannot be set up; empty when it is
std::string set_up(sqlite3* handle) {
  auto const journal = read_first_value(handle, "PRAGMA journal_mode=WAL");
  if (!journal) {
    return sqlite3_errmsg(handle);
  }
  if (*journal != "wal") {
    return "expected write-ahead logging, the file system allows only journal mode " + *journal;
  }
  for (auto const* const sql : {"PRAGMA synchronous=FULL", "PRAGMA foreign_keys=ON"}) {
    if (!read_first_value(handle, sql)) {
      return sqlite3_errmsg(handle);
    }
  }
  return {};
}

bool has_content(std::filesystem::path const& file) {
  std::error_code ignored;
  auto const size = std::filesystem::file_size(file, ignored);
  return !ignored && size > 0;
}

/// A connection, or none and the reason.
struct open_result {
  owned_handle handle;
  std::string reason;
};

open_result open_file(std::filesystem::path const& file) {
  std::error_code ignored;
  auto const type = std::filesystem::status(file, ignored).type();
  if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found) {
    return {nullptr, "expected a regular file"};
  }
  if (type == std::filesystem::file_type::not_found) {
    // SQLite would let everyone read it. Where it cannot be made, SQLite says why.
    file_descriptor const made(::open(file.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, new_file_mode));
  }
  sqlite3* opened = nullptr;
  auto const result = sqlite3_open_v2(
      file.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
  owned_handle handle(opened);
  if (result != SQLITE_OK) {
    return {nullptr, opened == nullptr ? sqlite3_errstr(result) : sqlite3_errmsg(opened)};
  }
  if (sqlite3_db_readonly(opened, "main") == 1) {
    return {nullptr, "the file may not be written"};
  }
  sqlite3_busy_timeout(opened, busy_timeout_milliseconds);
  return {std::move(handle), ""};
}

open_result open_checked(std::filesystem::path const& file) {
  auto log_file = file;
  log_file += "-wal";
  bool const has_log = has_content(log_file);
  auto result = open_file(file);
  if (result.handle == nullptr) {
    return result;
  }
  auto* const handle = result.handle.get();
  set_checkpoint_at_close(handle, !has_log);
  result.reason = find_damage(handle);
  if (result.reason.empty()) {
    result.reason = set_up(handle);
  }
  if (!result.reason.empty()) {
    return {nullptr, std::move(result.reason)};
  }
  set_checkpoint_at_close(handle, true);
  return result;
}

/// Whether text behind a statement holds nothing to run: only blanks, comments and semicolons.
bool is_idle(sqlite3* handle, char const* text) {
  while (*text != '\0') {
    sqlite3_stmt* prepared = nullptr;
    char const* rest = nullptr;
    auto const result = sqlite3_prepare_v2(handle, text, -1, &prepared, &rest);
    owned_statement const owned(prepared);
    if (result != SQLITE_OK || prepared != nullptr || rest == text) {
      return false;
    }
    text = rest;
  }
  return true;
}

}  // namespace

struct sqlite_database::connection {
  owned_handle handle;
  std::shared_ptr<error_note> error = std::make_shared<error_note>();
};

sqlite_database::sqlite_database() : own(std::make_unique<connection>()) {
}

sqlite_database::~sqlite_database() = default;

bool sqlite_database::open(std::filesystem::path const& file) {
  close();
  std::error_code error;
  // An absolute name is never taken for one of SQLite's special ones.
  auto const name = std::filesystem::absolute(file, error);
  auto [handle, reason] = error ? open_result{nullptr, error.message()} : open_checked(name);
  if (handle == nullptr) {
    spdlog::error("[sqlite_database] cannot use {} as database: {}", file.string(), reason);
    own->error->keep(std::move(reason));
    return false;
  }
  own->handle = std::move(handle);
  return true;
}

void sqlite_database::close() {
  own->handle.reset();
}

std::unique_ptr<IQuery> sqlite_database::create_query(std::string const& sql) {
  auto* const handle = own->handle.get();
  if (handle == nullptr) {
    own->error->keep("the database is not open");
    return {};
  }
  if (sql.find('\0') != std::string::npos) {
    own->error->keep("the statement's text holds a zero byte");
    return {};
  }
  sqlite3_stmt* prepared = nullptr;
  char const* rest = nullptr;
  if (sqlite3_prepare_v3(handle, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &prepared, &rest) != SQLITE_OK) {
    own->error->keep(sqlite3_errmsg(handle));
    return {};
  }
  owned_statement statement(prepared);
  if (statement == nullptr || !is_idle(handle, rest)) {
    own->error->keep("expected exactly one statement in: " + sql);
    return {};
  }
  return std::make_unique<sqlite_query>(std::move(statement), own->error);
}

std::string sqlite_database::last_error() const {
  return own->error->last();
}

}  // namespace mura_common
