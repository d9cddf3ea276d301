#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
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

  /// What went wrong in the database's last operation that failed, be it a preparation, a binding, an
  /// execution or a step to the next row; it stays until the next failure. Empty when nothing failed.
  [[nodiscard]] virtual std::string last_error() const = 0;
};

/// The SQLite implementation.
///
/// Closed after construction: it then creates no query. `open` sets write-ahead logging, synchronous=FULL,
/// foreign_keys=ON and a busy time-out of five seconds. Destroyed after every query that it created.
class MURA_COMMON_EXPORT sqlite_database : public IDatabase {
 public:
  /// Touches no file.
  sqlite_database();
  ~sqlite_database() override;
  sqlite_database(sqlite_database const&) = delete;
  sqlite_database& operator=(sqlite_database const&) = delete;

  /// Opens the file, creating it when it is missing; an empty file is a database without tables.
  ///
  /// A new file may be written by its owner and read by its group, as far as the process's umask has it; the
  /// permissions of an existing one stay. The write-ahead log beside it has the same.
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
  /// @return whether the table can be used; false, with one line in the log, when `init` or `update` failed
  ///         (for the reason that they noted, else the database's last error), when the noted version is newer
  ///         than this class (an older program must not write to it: not even `init` is called), or when the
  ///         note cannot be read or written
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

  /// Notes why `init` or `update` is about to fail, where the database's last error will not tell it by the
  /// time that they return. Of several notes the first one counts: what fails in its wake hides no cause.
  /// @return false, for the caller to pass on
  bool note_failure(std::string const& reason);

 private:
  bool init_in_transaction();
  bool update_from(unsigned int noted);
  bool note(unsigned int reached);
  [[nodiscard]] std::string reason_of_failure() const;

  IDatabase& home;
  std::string const noted_name;
  unsigned int const own_version;
  std::string noted_failure;
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

/// One run of a prepared statement: its construction binds the values and executes, its end resets.
///
/// It is used by one thread, and lives no longer than the query. Only one run of a query lives at a time.
class MURA_COMMON_EXPORT statement {
 public:
  /// Binds the values to the positions from 0 on, each as what its type says (signed and unsigned integers of
  /// 32 and 64 bits, text, an empty optional as NULL), and executes. A position beyond the last value keeps
  /// what was bound to it before. When a value cannot be bound the query is not executed: the run has failed.
  template <typename... Values>
  explicit statement(IQuery& prepared, Values const&... values)
      : query{&prepared}, done(bind_all(values...) && query->execute()) {}
  /// As above. Without a query nothing is run: the run is not done, but has not failed either.
  template <typename... Values>
  explicit statement(std::unique_ptr<IQuery> const& prepared, Values const&... values)
      : query{prepared.get()}, done(query && bind_all(values...) && query->execute()) {}
  ~statement() = default;
  statement(statement const&) = delete;
  statement& operator=(statement const&) = delete;

  /// Whether the query was executed and every row asked for could be read.
  [[nodiscard]] bool is_done() const { return done; }
  /// Whether there is a query and it is not done.
  [[nodiscard]] bool has_failed() const { return query && !done; }
  /// What went wrong; empty when nothing did.
  [[nodiscard]] std::string error() const { return query ? query->last_error() : std::string(); }

  /// The current row, as `converter` makes it of the query. @return empty when no row is current
  template <typename Converter>
  [[nodiscard]] auto row(Converter&& converter) const {
    auto const is_current = done && query->has_row();
    return is_current ? std::optional(converter(*query)) : std::nullopt;
  }

  /// Reads from the current row to the last one, as `fetchRows`. When one cannot be read, the run has failed,
  /// and those before it are the result.
  template <typename Converter>
  [[nodiscard]] auto rows(Converter&& converter) {
    std::vector<decltype(converter(*query))> collected;
    if (done) {
      collected = fetchRows(*query, converter);
      done = query->last_error().empty();
    }
    return collected;
  }

  /// The first column of the current row. @return empty when no row is current
  [[nodiscard]] std::optional<std::uint32_t> number() const {
    return row([](IQuery const& current) { return current.get_uint32(0); });
  }
  /// The first column of every row, read as `rows` does.
  [[nodiscard]] std::vector<std::string> texts() {
    return rows([](IQuery const& current) { return current.get_text(0); });
  }

 private:
  template <typename... Values>
  [[nodiscard]] bool bind_all(Values const&... values) {
    [[maybe_unused]] int position = 0;
    return (bind(position++, values) && ...);
  }
  [[nodiscard]] bool bind(int position, std::int32_t value) { return query->bind_int32(position, value); }
  [[nodiscard]] bool bind(int position, std::uint32_t value) { return query->bind_uint32(position, value); }
  [[nodiscard]] bool bind(int position, std::int64_t value) { return query->bind_int64(position, value); }
  [[nodiscard]] bool bind(int position, std::uint64_t value) { return query->bind_uint64(position, value); }
  [[nodiscard]] bool bind(int position, std::string const& value) {
    return query->bind_text(position, value);
  }
  template <typename Value>
  [[nodiscard]] bool bind(int position, std::optional<Value> const& value) {
    return value ? bind(position, *value) : query->bind_null(position);
  }

  struct resetter {
    void operator()(IQuery* used) const { used->reset(); }
  };

  // Reset also when an exception leaves the execution.
  std::unique_ptr<IQuery, resetter> query;
  bool done;
};

/// A write transaction: what is changed in the database during its life is undone unless it was committed.
///
/// There is one at a time in a database. It is used by one thread, and must not outlive the database.
class MURA_COMMON_EXPORT transaction {
 public:
  /// Begins it.
  explicit transaction(IDatabase& target);
  ~transaction();
  transaction(transaction const&) = delete;
  transaction& operator=(transaction const&) = delete;

  /// Whether it could begin; otherwise each change stands alone, and `error` says why.
  [[nodiscard]] bool has_begun() const { return begun; }
  /// Makes what was changed last. @return false when that fails, or it had not begun; see `error`
  [[nodiscard]] bool commit();
  /// Why the last step failed; empty when none did.
  [[nodiscard]] std::string const& error() const { return reason; }

 private:
  bool run(char const* sql);

  IDatabase& database;
  std::string reason;
  bool begun;
};

}  // namespace mura_common
