#pragma once

#include <QColor>
#include <QString>

namespace ondel {

// One calendar of the desktop's store, as listed in settings.
struct CalendarInfo {
    QString id;
    QString title;
    QString sourceTitle;         // the account it belongs to, "Other" when none
    QColor color;                // grey when the store gives none
    bool defaultVisible = true;  // subscriptions and birthdays start hidden
    bool addedByOndel = false;   // only these can be removed from Ondel

    bool operator==(const CalendarInfo &) const = default;

    // The grey of a calendar without a colour of its own.
    static QColor defaultColor() { return QColor(0x8e, 0x8e, 0x93); }
};

}  // namespace ondel
