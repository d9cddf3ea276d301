#include "firmware/delivery_slots.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tavi::site::firmware {
namespace {

TEST(DeliverySlotsTest, TokenHasAsManyAsItMayAndNoMore) {
  delivery_slots slots({2, 10});
  delivery_slot const first(slots, "a");
  delivery_slot const second(slots, "a");
  EXPECT_EQ(first.answer(), slot_answer::granted);
  EXPECT_EQ(second.answer(), slot_answer::granted);
  EXPECT_EQ(delivery_slot(slots, "a").answer(), slot_answer::token_busy);
  EXPECT_EQ(delivery_slot(slots, "b").answer(), slot_answer::granted);
}

TEST(DeliverySlotsTest, ThereAreAsManyAltogetherAsThereMayBeAndNoMore) {
  delivery_slots slots({2, 3});
  std::vector<std::unique_ptr<delivery_slot>> taken;
  for (auto const* token : {"a", "b", "c"}) {
    taken.push_back(std::make_unique<delivery_slot>(slots, token));
    EXPECT_EQ(taken.back()->answer(), slot_answer::granted) << token;
  }
  EXPECT_EQ(delivery_slot(slots, "a").answer(), slot_answer::all_busy);
  EXPECT_EQ(delivery_slot(slots, "d").answer(), slot_answer::all_busy);
  taken.erase(taken.begin());
  EXPECT_EQ(delivery_slot(slots, "d").answer(), slot_answer::granted);
}

TEST(DeliverySlotsTest, PlaceIsFreeAgainWhenItsDeliveryEnds) {
  delivery_slots slots({1, 1});
  for (int turn = 0; turn < 3; ++turn) {
    delivery_slot const only(slots, "a");
    EXPECT_EQ(only.answer(), slot_answer::granted) << turn;
    EXPECT_EQ(delivery_slot(slots, "a").answer(), slot_answer::token_busy) << turn;
  }
}

TEST(DeliverySlotsTest, RefusedOneTakesNoPlaceAndFreesNone) {
  delivery_slots slots({1, 2});
  delivery_slot const held(slots, "a");
  for (int turn = 0; turn < 5; ++turn) {
    EXPECT_EQ(delivery_slot(slots, "a").answer(), slot_answer::token_busy);
  }
  delivery_slot const other(slots, "b");
  EXPECT_EQ(other.answer(), slot_answer::granted);
  EXPECT_EQ(delivery_slot(slots, "c").answer(), slot_answer::all_busy);
}

}  // namespace
}  // namespace tavi::site::firmware
