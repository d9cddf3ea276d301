#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "database/error_note.h"
#include "mura_common/database.h"

struct sqlite3_stmt;

namespace mura_common {

/// Gives a prepared statement back to SQLite.
struct statement_finalizer {
  void operator()(sqlite3_stmt* statement) const;
};

/// A prepared statement and its owner.
using owned_statement = std::unique_ptr<sqlite3_stmt, statement_finalizer>;

/// A statement of SQLite behind the interface. It is put back to its beginning as soon as no row is current,
/// so that it holds no lock on the database and takes new values at once.
class sqlite_query : public IQuery {
 public:
  /// @param prepared          the statement, not empty
  /// @param connection_error  told of every error, not empty
  sqlite_query(owned_statement prepared, std::shared_ptr<error_note> connection_error);

  void reset() override;
  bool bind_int32(int position, std::int32_t value) override;
  bool bind_uint32(int position, std::uint32_t value) override;
  bool bind_int64(int position, std::int64_t value) override;
  bool bind_uint64(int position, std::uint64_t value) override;
  bool bind_text(int position, std::string const& value) override;
  bool bind_null(int position) override;
  [[nodiscard]] bool execute() override;
  [[nodiscard]] bool has_row() const override;
  bool next() override;
  [[nodiscard]] std::int32_t get_int32(int column) const override;
  [[nodiscard]] std::uint32_t get_uint32(int column) const override;
  [[nodiscard]] std::int64_t get_int64(int column) const override;
  [[nodiscard]] std::uint64_t get_uint64(int column) const override;
  [[nodiscard]] std::string get_text(int column) const override;
  [[nodiscard]] bool is_null(int column) const override;
  [[nodiscard]] std::string last_error() const override;

 private:
  [[nodiscard]] bool may_bind(int position);
  [[nodiscard]] bool is_bound(int result);
  [[nodiscard]] bool has_column(int column) const;
  [[nodiscard]] bool step();
  void keep_error() const;
  void keep_error(std::string text) const;

  owned_statement statement;
  std::shared_ptr<error_note> connection_error;
  bool row = false;
  mutable std::string error;
};

}  // namespace mura_common
