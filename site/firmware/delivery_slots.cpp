#include "firmware/delivery_slots.h"

#include <utility>

namespace tavi::site::firmware {

delivery_slot::delivery_slot(delivery_slots& shared, std::string used_token)
    : slots(shared), token(std::move(used_token)) {
  auto const place = slots.taken_by_token.find(token);
  auto const used = place == slots.taken_by_token.end() ? std::size_t{0} : place->second;
  if (used >= slots.counts.per_token) {
    given = slot_answer::token_busy;
  } else if (slots.taken >= slots.counts.altogether) {
    given = slot_answer::all_busy;
  } else {
    slots.taken_by_token.insert_or_assign(token, used + 1);
    ++slots.taken;
  }
}

delivery_slot::~delivery_slot() {
  if (given != slot_answer::granted) {
    return;
  }
  --slots.taken;
  auto const place = slots.taken_by_token.find(token);
  if (--place->second == 0) {
    slots.taken_by_token.erase(place);
  }
}

}  // namespace tavi::site::firmware
