#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "mura_common/export.h"

namespace mura_common {

/// The types that a configuration value can have.
using config_value = std::variant<unsigned int, std::chrono::seconds, std::string>;

template <typename T>
class ConfigParameter;

/// Gives access to a service's configuration: typed values by key, and saving.
///
/// A key "a.b" is entry b of table a. The virtual operations work on values of any of the types of
/// `config_value`; users call `getParam`. Safe to call from any thread.
class MURA_COMMON_EXPORT IConfigParameterProvider {
 public:
  virtual ~IConfigParameterProvider() = default;

  /// Looks a parameter up.
  /// @tparam T  unsigned int, std::chrono::seconds or std::string
  /// @return a handle on the live value; absent when the key is missing or its entry is of another type,
  ///         negative or out of range for T (the provider logs which), by what the configuration holds at the
  ///         call
  template <typename T>
  [[nodiscard]] std::optional<ConfigParameter<T>> getParam(std::string const& key);

  /// Writes what was set since the last successful saving to where the configuration is kept.
  /// @return whether it is kept now; when false, the stored configuration is the old one, whole, and the live
  ///         values stay as they were set
  [[nodiscard]] virtual bool save() = 0;

 protected:
  template <typename T>
  friend class ConfigParameter;

  /// The live value of `key`, absent when it is missing now or not of the type that `wanted` holds.
  [[nodiscard]] virtual std::optional<config_value> read(std::string const& key,
                                                         config_value const& wanted) = 0;
  /// Whether `value` lies within the limits set for `key`.
  [[nodiscard]] virtual bool accepts(std::string const& key, config_value const& value) const = 0;
  /// The value in force for a handle made earlier, without a line in the log. Differs from `read` where a
  /// handle outlives the entry that it was made for; providers without that case leave it alone.
  [[nodiscard]] virtual std::optional<config_value> current(std::string const& key,
                                                            config_value const& wanted) {
    return read(key, wanted);
  }
  /// Makes `value` the live value of `key`.
  virtual void write(std::string const& key, config_value const& value) = 0;
};

/// A handle on one live value of a configuration. Must not outlive its provider.
template <typename T>
class ConfigParameter {
 public:
  /// Made by `IConfigParameterProvider::getParam`.
  ConfigParameter(IConfigParameterProvider& owner, std::string name)
      : provider(owner), key(std::move(name)) {}

  /// Whether the configuration's limits for this parameter admit `value`.
  [[nodiscard]] bool check(T const& value) const { return provider.accepts(key, config_value(value)); }

  /// The value in force now; also after the entry has gone from where the configuration is kept. Throws
  /// std::bad_optional_access when no value of type T is in force any more: after negative seconds were set,
  /// or after the provider has loaded another file without this entry.
  [[nodiscard]] T value() const { return std::get<T>(provider.current(key, config_value(T{})).value()); }

  /// Puts `value` into force, without a check and in memory only; the provider's `save` makes it last.
  void set(T const& value) { provider.write(key, config_value(value)); }

 private:
  IConfigParameterProvider& provider;
  std::string key;
};

template <typename T>
std::optional<ConfigParameter<T>> IConfigParameterProvider::getParam(std::string const& key) {
  if (!read(key, config_value(T{})).has_value()) {
    return std::nullopt;
  }
  return ConfigParameter<T>(*this, key);
}

/// A configuration kept in a TOML file that an operator may edit.
///
/// Values in force are those of loading and those set since; what an operator changes in the file takes
/// effect at the next loading. Only whether a parameter is there is asked anew: `getParam` reads the file, so
/// that a key which has gone from it is missing at once, and found again, with the value in force, as soon as
/// it is put back. While the file cannot be read or is not TOML, it counts as it was last seen, without a
/// line in the log; a saving then fails and says why. An entry that the file got after loading has no value
/// in force and is missing until the file is loaded again.
///
/// `[limits.a]` with `b = { min = 0, max = 1000 }` in the same file bounds what `check` admits for "a.b", as
/// it was when the file was loaded; either bound may be left out. They hold for numbers of either type and
/// not for strings. Limits that are malformed (no table, anything but min and max in it, a bound that is no
/// integer, min above max) admit no value at all, with a line in the log, so that a slip of the pen never
/// opens a range. Files of up to 64 KiB are taken. Saving reads the file anew and replaces only the values
/// that were set: every other byte, comments and order included, stays as the operator left it.
class MURA_COMMON_EXPORT toml_config : public IConfigParameterProvider {
 public:
  /// Empty: every parameter is absent until a file is loaded.
  toml_config();
  ~toml_config() override;
  toml_config(toml_config const&) = delete;
  toml_config& operator=(toml_config const&) = delete;

  /// Reads the file; what was set before and not saved is forgotten.
  /// @param file  a relative path is resolved against the current directory at the call
  /// @return false, with one line in the log that names file and position, when it cannot be read or is not
  ///         TOML; the configuration is then empty. When there is no file, the line says where an example is.
  [[nodiscard]] bool load(std::filesystem::path const& file);

  /// Puts the values that were set into the file, in one step that survives power loss.
  ///
  /// Reads the file as it is now; an entry that holds its new value already is left as it is written.
  /// Integers are written in decimal, texts as basic strings.
  /// @return true also when nothing was set; false, with a line in the log for each cause and the file
  ///         untouched, when the file cannot be read or written or is no longer TOML, when a value that was
  ///         set cannot be read back (negative seconds, text that is not UTF-8), or when the entry of one
  ///         has gone from the file or changed its type since its `getParam`; every further saving then fails
  ///         too, until the entry is put back
  [[nodiscard]] bool save() override;

  /// Tells the operator of every key in the file, as it was loaded, that nobody has asked for: one warning each,
  /// with the nearest key that was asked for, if one is near. To be called once all have asked.
  void check_keys() const;

  /// Tells the operator, with one warning that names the folder and the remedy, when `save` would not be allowed
  /// to replace the file. @return whether it would be
  bool check_saving() const;

 protected:
  [[nodiscard]] std::optional<config_value> read(std::string const& key, config_value const& wanted) override;
  [[nodiscard]] std::optional<config_value> current(std::string const& key,
                                                    config_value const& wanted) override;
  [[nodiscard]] bool accepts(std::string const& key, config_value const& value) const override;
  void write(std::string const& key, config_value const& value) override;

 private:
  struct content;
  std::unique_ptr<content> own;
};

}  // namespace mura_common
