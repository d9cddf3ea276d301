#include "database/sqlite_query.h"

#include <utility>

#include <sqlite3.h>

namespace mura_common {

void statement_finalizer::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

sqlite_query::sqlite_query(owned_statement prepared, std::shared_ptr<error_note> told_of_errors)
    : statement(std::move(prepared)), connection_error(std::move(told_of_errors)) {
}

void sqlite_query::reset() {
  sqlite3_reset(statement.get());
  sqlite3_clear_bindings(statement.get());
  row = false;
}

bool sqlite_query::bind_int32(int position, std::int32_t value) {
  return bind_int64(position, value);
}

bool sqlite_query::bind_uint32(int position, std::uint32_t value) {
  return bind_int64(position, value);
}

bool sqlite_query::bind_int64(int position, std::int64_t value) {
  return may_bind(position) && is_bound(sqlite3_bind_int64(statement.get(), position + 1, value));
}

bool sqlite_query::bind_uint64(int position, std::uint64_t value) {
  return bind_int64(position, static_cast<std::int64_t>(value));
}

bool sqlite_query::bind_text(int position, std::string const& value) {
  return may_bind(position) && is_bound(sqlite3_bind_text64(statement.get(), position + 1, value.data(),
                                                            value.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

bool sqlite_query::bind_null(int position) {
  return may_bind(position) && is_bound(sqlite3_bind_null(statement.get(), position + 1));
}

bool sqlite_query::execute() {
  sqlite3_reset(statement.get());
  error.clear();
  return step();
}

bool sqlite_query::has_row() const {
  return row;
}

bool sqlite_query::next() {
  // Without a current row a step would run the statement a second time.
  return row && step() && row;
}

std::int32_t sqlite_query::get_int32(int column) const {
  return static_cast<std::int32_t>(get_int64(column));
}

std::uint32_t sqlite_query::get_uint32(int column) const {
  return static_cast<std::uint32_t>(get_int64(column));
}

std::int64_t sqlite_query::get_int64(int column) const {
  return has_column(column) ? sqlite3_column_int64(statement.get(), column) : 0;
}

std::uint64_t sqlite_query::get_uint64(int column) const {
  return static_cast<std::uint64_t>(get_int64(column));
}

std::string sqlite_query::get_text(int column) const {
  if (is_null(column)) {
    return {};
  }
  // As a blob: the text's bytes, zeros among them too. Asking for the text first makes numbers text.
  if (sqlite3_column_text(statement.get(), column) == nullptr) {
    keep_error();
    return {};
  }
  auto const* const bytes = static_cast<char const*>(sqlite3_column_blob(statement.get(), column));
  auto const size = static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column));
  return bytes == nullptr ? std::string() : std::string(bytes, size);
}

bool sqlite_query::is_null(int column) const {
  return !has_column(column) || sqlite3_column_type(statement.get(), column) == SQLITE_NULL;
}

std::string sqlite_query::last_error() const {
  return error;
}

bool sqlite_query::may_bind(int position) {
  if (row) {
    keep_error("cannot bind while a row of the statement is being read");
    return false;
  }
  if (position < 0 || position >= sqlite3_bind_parameter_count(statement.get())) {
    keep_error(sqlite3_errstr(SQLITE_RANGE));
    return false;
  }
  return true;
}

bool sqlite_query::is_bound(int result) {
  if (result != SQLITE_OK) {
    keep_error();
  }
  return result == SQLITE_OK;
}

bool sqlite_query::has_column(int column) const {
  return row && column >= 0 && column < sqlite3_data_count(statement.get());
}

bool sqlite_query::step() {
  auto const result = sqlite3_step(statement.get());
  row = result == SQLITE_ROW;
  if (row) {
    return true;
  }
  if (result != SQLITE_DONE) {
    keep_error();
  }
  sqlite3_reset(statement.get());
  return result == SQLITE_DONE;
}

void sqlite_query::keep_error() const {
  keep_error(sqlite3_errmsg(sqlite3_db_handle(statement.get())));
}

void sqlite_query::keep_error(std::string text) const {
  error = std::move(text);
  connection_error->keep(error);
}

}  // namespace mura_common
