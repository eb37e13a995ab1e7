#pragma once

#include <set>
#include <string>

#include "platform/event_producer.h"

/// The event library for a test executable: with fake_event_producer.cpp in it, its functions take the place
/// of the platform library's. recorded_calls() gets
///   "register NAME KEY=VALUE/TYPE ...", "prepare ID", "set KEY=VALUE", "send ID", "free", "undeclare ID".
/// Declarations are numbered from 1; a call with another producer than fake_event_producer() fails the test.
struct FakeEvents {
  std::set<std::string> failing_registrations;  ///< event names
  std::set<unsigned int> failing_prepares;      ///< declarations, like all below
  std::set<unsigned int> failing_values;
  std::set<unsigned int> failing_sends;
  std::set<unsigned int> incomplete;
  unsigned int declarations = 0;  ///< registered so far
  int living_events = 0;          ///< prepared and not freed
};

/// One for the whole test program; assign FakeEvents{} to start afresh.
FakeEvents &fake_events();

/// The one producer there is.
EventProducer *fake_event_producer();
