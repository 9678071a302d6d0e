#include "EventKind.h"

namespace ondel {

namespace {
constexpr EventKind kAllKinds[] = {EventKind::meeting, EventKind::oneOnOne, EventKind::webinar, EventKind::session,
                                   EventKind::skip};
}

QString rawValue(EventKind kind)
{
    switch (kind) {
    case EventKind::meeting: return QStringLiteral("Meeting");
    case EventKind::oneOnOne: return QStringLiteral("1:1");
    case EventKind::webinar: return QStringLiteral("Webinar");
    case EventKind::session: return QStringLiteral("Class");
    case EventKind::skip: return QStringLiteral("");
    }
    return QString();
}

std::optional<EventKind> eventKindFromRawValue(const QString &raw)
{
    for (EventKind kind : kAllKinds) {
        if (raw == rawValue(kind))
            return kind;
    }
    return std::nullopt;
}

}  // namespace ondel
