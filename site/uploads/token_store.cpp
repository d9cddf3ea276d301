#include "uploads/token_store.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include <spdlog/spdlog.h>

namespace tavi::site::uploads {
namespace {

constexpr std::size_t longest_owner = 256;

enum class token_state { unused, in_use, spent };

struct token_record {
  std::string token;
  std::string owner;
  token_state state = token_state::unused;
  // Of its life time, or the moment it was spent.
  token_store::time_point ends_at;

  [[nodiscard]] bool is_dead(token_store::time_point now) const {
    return state == token_state::spent || (state == token_state::unused && now >= ends_at);
  }
};

}  // namespace

struct token_store::members {
  members(token_limits const& chosen, http::random_source source)
      : limits(chosen), random(std::move(source)) {}

  token_record* find(std::string const& token);
  void put(token_record record);
  void forget_old(time_point now);

  std::mutex guard;
  token_limits limits;
  http::random_source random;
  std::unordered_map<std::string, token_record> records;
};

token_record* token_store::members::find(std::string const& token) {
  auto const place = records.find(http::key_of_secret(token));
  if (place == records.end()) {
    return nullptr;
  }
  auto& record = place->second;
  return http::is_same_secret(record.token, token) ? &record : nullptr;
}

void token_store::members::put(token_record record) {
  auto key = http::key_of_secret(record.token);
  if (!key.empty()) {
    records.insert_or_assign(std::move(key), std::move(record));
  }
}

void token_store::members::forget_old(time_point now) {
  std::erase_if(records, [&](auto const& entry) {
    return entry.second.is_dead(now) && now >= entry.second.ends_at + limits.remember_time;
  });
  std::vector<std::pair<time_point, std::string>> dead;
  for (auto const& [key, record] : records) {
    if (record.is_dead(now)) {
      dead.emplace_back(record.ends_at, key);
    }
  }
  if (dead.size() <= limits.remembered) {
    return;
  }
  std::sort(dead.begin(), dead.end());
  dead.resize(dead.size() - limits.remembered);
  for (auto const& oldest : dead) {
    records.erase(oldest.second);
  }
}

token_store::token_store(token_limits limits, http::random_source random)
    : own(std::make_unique<members>(
          limits, random ? std::move(random) : http::random_source(http::fill_from_system))) {
}

token_store::~token_store() = default;

std::optional<std::string> token_store::make(std::string const& owner, time_point now) {
  if (owner.empty() || owner.size() > longest_owner) {
    spdlog::error("[token_store] owner of a token has {} bytes, expected 1 to {}", owner.size(),
                  longest_owner);
    return std::nullopt;
  }
  std::lock_guard const lock(own->guard);
  own->forget_old(now);
  auto const is_live = [&](auto const& entry) { return !entry.second.is_dead(now); };
  auto const live = std::count_if(own->records.begin(), own->records.end(), is_live);
  if (static_cast<std::size_t>(live) >= own->limits.live) {
    spdlog::error("[token_store] {} tokens are live, the most allowed; none is made", live);
    return std::nullopt;
  }
  auto token = http::make_secret_token(own->random);
  if (token) {
    own->put({*token, owner, token_state::unused, now + own->limits.life_time});
  }
  return token;
}

token_grant token_store::acquire(std::string const& token, time_point now) {
  std::lock_guard const lock(own->guard);
  token_grant grant;
  auto* const record = own->find(token);
  if (record == nullptr) {
    return grant;
  }
  if (record->is_dead(now)) {
    auto const is_forgotten = now >= record->ends_at + own->limits.remember_time;
    grant.answer = is_forgotten ? token_answer::unknown : token_answer::gone;
  } else if (record->state == token_state::in_use) {
    grant.answer = token_answer::in_use;
  } else {
    record->state = token_state::in_use;
    grant = {token_answer::granted, record->owner, record->ends_at};
  }
  return grant;
}

void token_store::release(std::string const& token) {
  std::lock_guard const lock(own->guard);
  auto* const record = own->find(token);
  if (record != nullptr && record->state == token_state::in_use) {
    record->state = token_state::unused;
  }
}

void token_store::spend(std::string const& token, time_point now) {
  std::lock_guard const lock(own->guard);
  auto* const record = own->find(token);
  if (record != nullptr && record->state == token_state::in_use) {
    record->state = token_state::spent;
    record->ends_at = now;
  }
}

void token_store::restore_spent(std::string const& token, time_point now) {
  std::lock_guard const lock(own->guard);
  own->put({token, {}, token_state::spent, now});
}

}  // namespace tavi::site::uploads
