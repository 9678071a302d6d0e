#pragma once

#include <QString>

#include <optional>

namespace ondel {

// The verdict on one calendar entry. The raw values are also the labels shown; "Class" for
// `session` and the empty text of `skip` are intended.
enum class EventKind { meeting, oneOnOne, webinar, session, skip };

QString rawValue(EventKind kind);
// Nothing for a text that is no kind's raw value.
std::optional<EventKind> eventKindFromRawValue(const QString &raw);

}  // namespace ondel
