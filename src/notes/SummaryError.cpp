#include "SummaryError.h"

QString SummaryError::description() const
{
    switch (kind) {
    case Kind::Api:
        return QStringLiteral("Vrel API error (") + QString::number(status) + QStringLiteral("): ") + message;
    case Kind::InvalidResponse:
        return QStringLiteral("Invalid response from Vrel");
    case Kind::Parse:
        return QStringLiteral("Failed to parse Vrel response");
    case Kind::Json:
        return QStringLiteral("Vrel sent something that is not JSON (") + message + QLatin1Char(')');
    case Kind::Transport:
        return message;
    case Kind::TimedOut:
        return QStringLiteral("The request timed out.");
    }
    return {};
}
