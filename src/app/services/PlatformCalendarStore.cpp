#include "PlatformCalendarStore.h"

#include "EdsCalendarStore.h"

// On Linux the desktop's calendars live in Evolution Data Server.
std::unique_ptr<ondel::CalendarStore> makePlatformCalendarStore()
{
    return std::make_unique<ondel::EdsCalendarStore>();
}
