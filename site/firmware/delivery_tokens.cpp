#include "firmware/delivery_tokens.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tavi::site::firmware {
namespace {

using time_point = delivery_tokens::time_point;

struct delivery_record {
  std::string token;
  delivery what;
  time_point ends_at;

  [[nodiscard]] bool is_dead(time_point now) const { return now >= ends_at; }
};

/// By the ends of their lives, so that the oldest come first.
using aged_keys = std::vector<std::pair<time_point, std::string>>;

}  // namespace

struct delivery_tokens::members {
  delivery_record* find(std::string const& token);
  [[nodiscard]] aged_keys select(auto const& is_wanted) const;
  void forget_old(time_point now);
  void make_room(unsigned int station, time_point now);

  delivery_limits limits;
  http::random_source random;
  std::unordered_map<std::string, delivery_record> records;
};

delivery_record* delivery_tokens::members::find(std::string const& token) {
  auto const place = records.find(http::key_of_secret(token));
  return place != records.end() && http::is_same_secret(place->second.token, token) ? &place->second
                                                                                    : nullptr;
}

aged_keys delivery_tokens::members::select(auto const& is_wanted) const {
  aged_keys selected;
  for (auto const& [key, record] : records) {
    if (is_wanted(record)) {
      selected.emplace_back(record.ends_at, key);
    }
  }
  std::sort(selected.begin(), selected.end());
  return selected;
}

void delivery_tokens::members::forget_old(time_point now) {
  std::erase_if(records,
                [&](auto const& entry) { return now >= entry.second.ends_at + limits.remember_time; });
  auto const dead = select([&](delivery_record const& record) { return record.is_dead(now); });
  for (std::size_t index = 0; index + limits.remembered < dead.size(); ++index) {
    records.erase(dead[index].second);
  }
}

void delivery_tokens::members::make_room(unsigned int station, time_point now) {
  auto const live = select(
      [&](delivery_record const& record) { return record.what.station == station && !record.is_dead(now); });
  for (std::size_t index = 0; index + limits.per_station <= live.size(); ++index) {
    records.at(live[index].second).ends_at = now;
  }
}

delivery_tokens::delivery_tokens(delivery_limits limits, http::random_source random)
    : own(std::make_unique<members>(limits, std::move(random))) {
}

delivery_tokens::~delivery_tokens() = default;

std::optional<std::string> delivery_tokens::make(delivery const& what, time_point now) {
  own->forget_old(now);
  auto token = http::make_secret_token(own->random);
  auto const key = token ? http::key_of_secret(*token) : std::string();
  if (key.empty()) {
    return std::nullopt;
  }
  own->make_room(what.station, now);
  own->records.insert_or_assign(key, delivery_record{*token, what, now + own->limits.life_time});
  return token;
}

delivery_finding delivery_tokens::find(std::string const& token, time_point now) const {
  auto const* const record = own->find(token);
  if (record == nullptr || now >= record->ends_at + own->limits.remember_time) {
    return {};
  }
  if (record->is_dead(now)) {
    return {delivery_answer::gone, {}};
  }
  return {delivery_answer::granted, record->what};
}

void delivery_tokens::withdraw(std::string const& token, time_point now) {
  if (auto* const record = own->find(token)) {
    record->ends_at = std::min(record->ends_at, now);
  }
}

}  // namespace tavi::site::firmware
