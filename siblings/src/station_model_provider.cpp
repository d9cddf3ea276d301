#include "tavi/stations/station_model_provider.h"

#include <algorithm>
#include <fstream>
#include <ios>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <spdlog/spdlog.h>

namespace tavi::stations {

// The only object of this file that is made at the start of the program, in a library of its own: the loader
// makes it before any object of a program or library that uses this one.
std::string const station_model_provider::DEFAULT_SUPPORTED_STATIONS_FILE = "supported_stations.json";

namespace {

using nlohmann::json;

/// What is wrong with a file.
class unusable_file : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Refuses an object that names a member twice, of which the parser would silently keep one.
json parse(std::string const& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) {
    throw unusable_file("cannot be opened");
  }
  std::vector<std::set<std::string>> open_objects;
  auto const watch = [&](int, json::parse_event_t event, json& value) {
    if (event == json::parse_event_t::object_start) {
      open_objects.emplace_back();
    } else if (event == json::parse_event_t::object_end) {
      open_objects.pop_back();
    } else if (event == json::parse_event_t::key && !open_objects.back().insert(value).second) {
      throw unusable_file(fmt::format("has the member \"{}\" twice in one object", value.get<std::string>()));
    }
    return true;
  };
  try {
    return json::parse(stream, watch);
  } catch (std::ios_base::failure const& error) {
    throw unusable_file(fmt::format("cannot be read: {}", error.what()));
  } catch (json::exception const& error) {
    throw unusable_file(fmt::format("is no JSON: {}", error.what()));
  }
}

std::string text_in(json const& form, std::string const& place) {
  if (!form.is_string() || form.get_ref<std::string const&>().empty()) {
    throw unusable_file(place + " must be a text that is not empty");
  }
  return form.get<std::string>();
}

json const& member_of(json const& form, char const* key, std::string_view place) {
  if (!form.is_object() || !form.contains(key)) {
    throw unusable_file(fmt::format("{} must be an object with the member \"{}\"", place, key));
  }
  return form[key];
}

json const& array_in(json const& form, std::string_view place) {
  if (!form.is_array()) {
    throw unusable_file(fmt::format("{} must be an array", place));
  }
  return form;
}

station_model model_in(json const& form, std::string const& place) {
  station_model made{text_in(member_of(form, "name", place), place + ".name"),
                     text_in(member_of(form, "vendor", place), place + ".vendor"),
                     {}};
  for (auto const& model : array_in(member_of(form, "models", place), place + ".models")) {
    made.models.push_back(text_in(model, place + ".models"));
  }
  if (made.models.empty()) {
    throw unusable_file(place + ".models must not be empty");
  }
  return made;
}

/// A kind that could not be told from another one would hide it.
void refuse_duplicates(std::list<station_model> const& models) {
  std::set<std::string> names;
  std::set<std::pair<std::string, std::string>> kinds;
  for (auto const& entry : models) {
    if (!names.insert(entry.name).second) {
      throw unusable_file(fmt::format("has the name \"{}\" twice", entry.name));
    }
    for (auto const& model : entry.models) {
      if (!kinds.emplace(entry.vendor, model).second) {
        throw unusable_file(fmt::format("has the model \"{}\" of vendor \"{}\" twice", model, entry.vendor));
      }
    }
  }
}

std::list<station_model> models_in(json const& form) {
  std::list<station_model> models;
  for (auto const& entry : array_in(member_of(form, "stations", "the file"), "stations")) {
    models.push_back(model_in(entry, fmt::format("stations[{}]", models.size())));
  }
  refuse_duplicates(models);
  return models;
}

}  // namespace

bool station_model_provider::load(std::string const& path) {
  station_models.clear();
  try {
    station_models = models_in(parse(path));
    if (station_models.empty()) {
      spdlog::error("[station_model_provider] {} lists no stations", path);
    }
    return true;
  } catch (unusable_file const& problem) {
    spdlog::error("[station_model_provider] {} cannot be used: {}", path, problem.what());
    return false;
  }
}

std::list<station_model> const& station_model_provider::get_station_models() const {
  return station_models;
}

std::string const* station_model_provider::find_station_model(std::string const& vendor,
                                                              std::string const& model) const {
  auto const found =
      std::find_if(station_models.begin(), station_models.end(), [&](station_model const& kind) {
        return kind.vendor == vendor &&
               std::find(kind.models.begin(), kind.models.end(), model) != kind.models.end();
      });
  return found == station_models.end() ? nullptr : &found->name;
}

}  // namespace tavi::stations
