#pragma once

#include <memory>

namespace ondel {
class CalendarStore;
}

// The desktop's calendar store for this build; null where none is built in, which the calendar
// service reads as "no calendar service" once the user connected.
std::unique_ptr<ondel::CalendarStore> makePlatformCalendarStore();
