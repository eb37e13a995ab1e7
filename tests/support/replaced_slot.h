#pragma once

/// Puts another function into a slot of a class, for as long as it lives. All objects of the class see it.
template <typename Function>
class ReplacedSlot {
 public:
  ReplacedSlot(Function &slot, Function replacement) : slot_(slot), old_(slot) { slot_ = replacement; }
  ~ReplacedSlot() { slot_ = old_; }
  ReplacedSlot(const ReplacedSlot &) = delete;
  ReplacedSlot &operator=(const ReplacedSlot &) = delete;

 private:
  Function &slot_;
  Function old_;
};
