#include "ChatError.h"

QString ChatError::readableText() const
{
    switch (kind) {
    case Kind::Status:
        if (status == 401 || status == 403)
            return QStringLiteral("That request wasn't authorised. Try signing in again.");
        if (status == 402)
            return QStringLiteral("You've used your allowance for this month.");
        if (status == 429)
            return QStringLiteral("Too many requests just now — try again in a moment.");
        return QStringLiteral("The request failed (%1). Try again.").arg(status);
    case Kind::BadResponse:
        return QStringLiteral("The answer could not be read. Try again.");
    case Kind::Transport:
        return message;
    case Kind::TimedOut:
        return QStringLiteral("The request timed out.");
    }
    return {};
}
