#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>

#include "firmware/firmware_options.h"

namespace tavi::site::firmware {

/// Whether a further delivery may begin.
enum class slot_answer {
  granted,     ///< it may
  token_busy,  ///< as many as may be are going on with its token
  all_busy     ///< as many as may be are going on altogether
};

/// Counts the deliveries that are going on. Not synchronised: belongs to the event loop.
class delivery_slots {
 public:
  /// None is going on yet. @param allowed  see `delivery_counts`
  explicit delivery_slots(delivery_counts const& allowed) : counts(allowed) {}

 private:
  friend class delivery_slot;

  delivery_counts counts;
  std::size_t taken = 0;
  std::unordered_map<std::string, std::size_t> taken_by_token;
};

/// The place of one delivery, free again when it is destroyed.
class delivery_slot {
 public:
  /// Takes a place if there is one, see `answer`. @param shared  outlives the slot
  delivery_slot(delivery_slots& shared, std::string used_token);
  ~delivery_slot();
  delivery_slot(delivery_slot const&) = delete;
  delivery_slot& operator=(delivery_slot const&) = delete;

  /// Whether there was a place; without one the slot takes none.
  [[nodiscard]] slot_answer answer() const { return given; }

 private:
  delivery_slots& slots;
  std::string token;
  slot_answer given = slot_answer::granted;
};

}  // namespace tavi::site::firmware
