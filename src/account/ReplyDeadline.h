#pragma once

#include "Clock.h"

#include <chrono>
#include <memory>

class QNetworkReply;

// A request's whole time limit, on the clock it is given: when the limit passes first, the reply
// is aborted and the flag that arm() returns is set, so that the handler of the reply's end can
// tell a time-out from any other failure. The reply's end cancels the timer.
class ReplyDeadline
{
public:
    static std::shared_ptr<const bool> arm(Clock &clock, QNetworkReply *reply, std::chrono::milliseconds limit);

    // What a timed-out request reports, the same for every caller.
    static QString timedOutText();
};
