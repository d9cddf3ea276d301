#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mura_common/database.h"

/// A database that works, but for the statements that a test declares broken.
///
/// A statement is named by a part of its text. What fails says "no statement" or "disk I/O error" as its
/// reason. The database also tells which statements their user left as they were, without a reset.
class faulty_database : public mura_common::IDatabase {
 public:
  /// @param real  does the work; must outlive this one
  explicit faulty_database(mura_common::IDatabase& real) : working(real) {}

  /// From now on no statement whose text holds `part` can be prepared.
  void refuse_to_prepare(std::string const& part) { unpreparable.insert(part); }
  /// From now on executing a statement whose text holds `part` fails, prepared before or not.
  void fail_to_execute(std::string const& part) { unexecutable.insert(part); }
  /// From now on a statement whose text holds `part` runs but gives no row.
  void hide_rows_of(std::string const& part) { rowless.insert(part); }
  /// From now on a statement whose text holds `part` fails after its first row.
  void break_after_first_row_of(std::string const& part) { breaking.insert(part); }
  /// From now on `action` runs before each execution of a statement whose text holds `part`; it may throw.
  void before_executing(std::string const& part, std::function<void()> action) {
    actions[part] = std::move(action);
  }
  /// Everything works again.
  void heal() {
    unpreparable.clear();
    unexecutable.clear();
    rowless.clear();
    breaking.clear();
    actions.clear();
  }

  /// The texts of all statements that were prepared or were to be, in order.
  std::vector<std::string> prepared_texts;
  /// How often a statement was told to go on to its next row, which each row costs once.
  std::size_t steps = 0;
  /// The texts of the statements that were given a value or executed and not reset since.
  std::set<std::string> not_reset;

  std::unique_ptr<mura_common::IQuery> create_query(std::string const& sql) override {
    prepared_texts.push_back(sql);
    if (is_in(unpreparable, sql)) {
      error = "no statement";
      return nullptr;
    }
    auto query = working.create_query(sql);
    if (!query) {
      error = working.last_error();
      return nullptr;
    }
    return std::make_unique<faulty_query>(*this, std::move(query), sql);
  }
  [[nodiscard]] std::string last_error() const override { return error; }

 private:
  static bool is_in(std::set<std::string> const& parts, std::string const& sql) {
    for (auto const& part : parts) {
      if (sql.find(part) != std::string::npos) {
        return true;
      }
    }
    return false;
  }

  class faulty_query : public mura_common::IQuery {
   public:
    faulty_query(faulty_database& owner, std::unique_ptr<mura_common::IQuery> real, std::string sql)
        : database(owner), working(std::move(real)), text(std::move(sql)) {}

    void reset() override {
      database.not_reset.erase(text);
      working->reset();
    }
    bool bind_int32(int position, std::int32_t value) override {
      return in_use().bind_int32(position, value);
    }
    bool bind_uint32(int position, std::uint32_t value) override {
      return in_use().bind_uint32(position, value);
    }
    bool bind_int64(int position, std::int64_t value) override {
      return in_use().bind_int64(position, value);
    }
    bool bind_uint64(int position, std::uint64_t value) override {
      return in_use().bind_uint64(position, value);
    }
    bool bind_text(int position, std::string const& value) override {
      return in_use().bind_text(position, value);
    }
    bool bind_null(int position) override { return in_use().bind_null(position); }
    bool execute() override {
      auto& used = in_use();
      for (auto const& [part, action] : database.actions) {
        if (text.find(part) != std::string::npos) {
          action();
        }
      }
      return tell(!is_in(database.unexecutable, text) && used.execute());
    }
    [[nodiscard]] bool has_row() const override {
      return !is_in(database.rowless, text) && working->has_row();
    }
    bool next() override {
      ++database.steps;
      return tell(!is_in(database.breaking, text) && working->next());
    }
    [[nodiscard]] std::int32_t get_int32(int column) const override { return working->get_int32(column); }
    [[nodiscard]] std::uint32_t get_uint32(int column) const override { return working->get_uint32(column); }
    [[nodiscard]] std::int64_t get_int64(int column) const override { return working->get_int64(column); }
    [[nodiscard]] std::uint64_t get_uint64(int column) const override { return working->get_uint64(column); }
    [[nodiscard]] std::string get_text(int column) const override { return working->get_text(column); }
    [[nodiscard]] bool is_null(int column) const override { return working->is_null(column); }
    [[nodiscard]] std::string last_error() const override {
      auto const is_told_to_fail = is_in(database.unexecutable, text) || is_in(database.breaking, text);
      return is_told_to_fail ? "disk I/O error" : working->last_error();
    }

   private:
    mura_common::IQuery& in_use() {
      database.not_reset.insert(text);
      return *working;
    }
    bool tell(bool result) {
      if (auto const reason = last_error(); !result && !reason.empty()) {
        database.error = reason;
      }
      return result;
    }

    faulty_database& database;
    std::unique_ptr<mura_common::IQuery> working;
    std::string text;
  };

  mura_common::IDatabase& working;
  std::string error;
  std::set<std::string> unpreparable;
  std::set<std::string> unexecutable;
  std::set<std::string> rowless;
  std::set<std::string> breaking;
  std::map<std::string, std::function<void()>> actions;
};
