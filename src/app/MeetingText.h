#pragma once

#include <QDateTime>
#include <QString>

// How the shell writes times and lengths. Pure functions, so the lists and the menu agree.
namespace MeetingText {

// A meeting's length in a sidebar row: "<1m", then whole minutes only ("90m").
QString rowDuration(double seconds);
// A meeting's length on a card: "<1m", "42m", "1h 5m".
QString cardDuration(double seconds);
// The strip's clock: "m:ss" below an hour, then "h:mm:ss".
QString stripElapsed(double seconds);
// The menu's clock: always total minutes and seconds, so an hour reads "60:00".
QString menuElapsed(double seconds);
// "5 minutes ago", "yesterday", "in 2 hours": a date relative to `now`.
QString relativeDate(const QDateTime &date, const QDateTime &now);
// The time of day in the user's locale, without seconds ("4:05 PM", "16:05").
QString timeOfDay(const QDateTime &date);
// The day and the time: "Nov 20, 2026 · 4:05 PM", or with the weekday and full month.
QString dateAndTime(const QDateTime &date, bool full = false);
// The title shown for a meeting or folder whose own is empty.
QString titleOrUntitled(const QString &title);

} // namespace MeetingText
