#include "PlatformCalendarStore.h"

#include "CalendarStore.h"

std::unique_ptr<ondel::CalendarStore> makePlatformCalendarStore()
{
    return nullptr;
}
