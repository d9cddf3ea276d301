#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "mura_common/export.h"

namespace mura_common {

/// One prepared statement: bind, execute, read the rows, reset.
///
/// Positions and columns count from 0. A statement belongs to the database that created it and must not
/// outlive it. It has no lock of its own: its users take turns.
class MURA_COMMON_EXPORT IQuery {
 public:
  virtual ~IQuery() = default;

  /// Ends the execution and forgets what was bound: every parameter is NULL again.
  virtual void reset() = 0;

  /// Binds a value to the parameter at `position`. @return false for a position that the statement lacks, or
  /// while a row is current
  virtual bool bind_int32(int position, std::int32_t value) = 0;
  /// As `bind_int32`.
  virtual bool bind_uint32(int position, std::uint32_t value) = 0;
  /// As `bind_int32`.
  virtual bool bind_int64(int position, std::int64_t value) = 0;
  /// As `bind_int32`; a value above 2^63 - 1 is kept by its bit pattern, as SQLite's integers are signed.
  virtual bool bind_uint64(int position, std::uint64_t value) = 0;
  /// As `bind_int32`; the text is copied.
  virtual bool bind_text(int position, std::string const& value) = 0;
  /// As `bind_int32`.
  virtual bool bind_null(int position) = 0;

  /// Runs the statement from its beginning with the values bound; of a select the first row, if there is one,
  /// becomes current. What is bound stays bound.
  ///
  /// While a row is current the database cannot tidy its log up: read on to the end, or `reset`.
  /// @return whether it ran; see `last_error` otherwise
  [[nodiscard]] virtual bool execute() = 0;

  /// Whether a row is current.
  [[nodiscard]] virtual bool has_row() const = 0;

  /// Goes on to the next row. @return whether a row is current now; false also on an error
  virtual bool next() = 0;

  /// The current row's value in `column`; 0 when it is NULL, the column is missing or no row is current.
  [[nodiscard]] virtual std::int32_t get_int32(int column) const = 0;
  /// As `get_int32`; the low 32 bits.
  [[nodiscard]] virtual std::uint32_t get_uint32(int column) const = 0;
  /// As `get_int32`.
  [[nodiscard]] virtual std::int64_t get_int64(int column) const = 0;
  /// As `get_int32`.
  [[nodiscard]] virtual std::uint64_t get_uint64(int column) const = 0;
  /// The current row's text in `column`; empty where `get_int32` would give 0 for want of a value.
  [[nodiscard]] virtual std::string get_text(int column) const = 0;
  /// Whether the current row's value in `column` is NULL; true when there is no such value.
  [[nodiscard]] virtual bool is_null(int column) const = 0;

  /// What went wrong in this statement since its last execution began, in SQLite's words; empty when nothing
  /// did. This tells the end of the rows from a row that could not be read.
  [[nodiscard]] virtual std::string last_error() const = 0;
};

/// A relational database in SQLite's dialect, with foreign keys enforced.
class MURA_COMMON_EXPORT IDatabase {
 public:
  virtual ~IDatabase() = default;

  /// Prepares one statement. @return the statement, or empty when the text cannot be prepared, holds no
  /// statement or more than one, or the database is not open; `last_error` then says why
  [[nodiscard]] virtual std::unique_ptr<IQuery> create_query(std::string const& sql) = 0;

  /// What went wrong in the last failed operation of the database; empty when nothing did.
  [[nodiscard]] virtual std::string last_error() const = 0;
};

/// The SQLite implementation.
///
/// Closed after construction: it then creates no query. `open` sets write-ahead logging, synchronous=FULL,
/// foreign_keys=ON and a busy time-out of five seconds. Destroyed after every query that it created.
class MURA_COMMON_EXPORT sqlite_database : public IDatabase {
 public:
  sqlite_database();
  ~sqlite_database() override;
  sqlite_database(sqlite_database const&) = delete;
  sqlite_database& operator=(sqlite_database const&) = delete;

  /// Opens the file, creating it when it is missing; an empty file is a database without tables.
  ///
  /// A database that is open already is closed first.
  /// @param file  the database's name; its folder must exist
  /// @return false, with one line in the log that names the file, when it cannot be opened or written, is no
  ///         database, or fails SQLite's quick_check; the file is then left untouched and the object closed
  [[nodiscard]] bool open(std::filesystem::path const& file);

  /// Closes the file; every query must be gone by then. Closing a closed one does nothing. Afterwards no
  /// query can be created.
  void close();

  [[nodiscard]] std::unique_ptr<IQuery> create_query(std::string const& sql) override;
  [[nodiscard]] std::string last_error() const override;

 private:
  struct connection;
  std::unique_ptr<connection> own;
};

/// Base of a class that owns one or more tables of a database.
class MURA_COMMON_EXPORT DatabaseTable {
 public:
  /// @param database  must outlive the table; need not be open yet
  /// @param name      under which the table's schema version is noted in the database
  /// @param version   of the schema that this class works with, at least 1
  DatabaseTable(IDatabase& database, std::string const& name, unsigned int version);
  virtual ~DatabaseTable() = default;
  DatabaseTable(DatabaseTable const&) = delete;
  DatabaseTable& operator=(DatabaseTable const&) = delete;

  /// Brings the table up at a start of the service: calls `init`, then, when the version noted in the
  /// database is older than this class's, `update`, and notes the version reached.
  ///
  /// A database that knows no version for the name is new to the table: its version is noted without
  /// `update`. All of it is one transaction: after a failure, or a crash at any moment, the database is as it
  /// was.
  /// @return whether the table can be used; false, with one line in the log, when `init` or `update` failed,
  ///         when the noted version is newer than this class (an older program must not write to it: not even
  ///         `init` is called), or when the note cannot be read or written
  [[nodiscard]] bool initTable();

 protected:
  /// Creates what is missing of the schema and prepares every statement; runs within a transaction and begins
  /// none itself. @return whether all of it succeeded
  virtual bool init() = 0;

  /// Changes the schema of an older version into this class's; runs within a transaction and begins none
  /// itself.
  /// @param from_version  the version noted in the database
  /// @param to_version    holds this class's version at the call; set it to note another
  /// @return whether the schema could be changed
  virtual bool update(unsigned int from_version, unsigned int& to_version) = 0;

  /// The database that the table lives in.
  [[nodiscard]] IDatabase& table_database() const { return home; }

 private:
  bool init_in_transaction();
  bool update_from(unsigned int noted);
  bool note(unsigned int reached);

  IDatabase& home;
  std::string const noted_name;
  unsigned int const own_version;
};

/// Collects the rows of an executed statement.
/// @param query      a statement whose first row is current, or which has none
/// @param converter  called with the statement for each row; makes one element of it
/// @return one element for each row, in the statement's order; no row is current afterwards
template <typename Converter>
[[nodiscard]] auto fetchRows(IQuery& query, Converter&& converter) {
  std::vector<decltype(converter(query))> rows;
  for (bool row = query.has_row(); row; row = query.next()) {
    rows.push_back(converter(query));
  }
  return rows;
}

}  // namespace mura_common
