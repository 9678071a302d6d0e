#pragma once

#include "EventKind.h"

#include <QString>
#include <QStringList>

namespace ondel {

// Sorts a calendar entry into a kind from its link, its number of participants and its title,
// with no model call: people's meetings show, "lunch" and blocks of private time are set aside.
namespace EventClassification {

struct Verdict {
    EventKind kind = EventKind::skip;
    bool highConfidence = false;
    bool operator==(const Verdict &) const = default;
};

// Titles holding one of these are meetings even alone on the calendar ("Recall Helen" holds
// "call": a plain substring search, on purpose).
const QStringList &meetingKeywords();
// These never change the kind; they withdraw the confidence.
const QStringList &personalKeywords();

// `alwaysRecord`: the entry's calendar is one the user marked "always record".
Verdict classify(bool hasConferenceLink, int participantCount, const QString &title, bool alwaysRecord);

}  // namespace EventClassification
}  // namespace ondel
