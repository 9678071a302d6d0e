#include "MeetingText.h"

#include <QLocale>

#include <cmath>

namespace MeetingText {

namespace {
qint64 wholeSeconds(double seconds)
{
    return std::isfinite(seconds) && seconds > 0 ? qint64(seconds) : 0;
}

QString twoDigits(qint64 value)
{
    return QStringLiteral("%1").arg(value, 2, 10, QLatin1Char('0'));
}

QString plural(qint64 n, const char *unit)
{
    return QStringLiteral("%1 %2%3").arg(n).arg(QLatin1String(unit)).arg(n == 1 ? QString() : QStringLiteral("s"));
}
} // namespace

QString rowDuration(double seconds)
{
    const qint64 s = wholeSeconds(seconds);
    return s < 60 ? QStringLiteral("<1m") : QStringLiteral("%1m").arg(s / 60);
}

QString cardDuration(double seconds)
{
    const qint64 s = wholeSeconds(seconds);
    if (s < 60)
        return QStringLiteral("<1m");
    if (s < 3600)
        return QStringLiteral("%1m").arg(s / 60);
    return QStringLiteral("%1h %2m").arg(s / 3600).arg((s % 3600) / 60);
}

QString stripElapsed(double seconds)
{
    const qint64 s = wholeSeconds(seconds);
    if (s < 3600)
        return QStringLiteral("%1:%2").arg(s / 60).arg(twoDigits(s % 60));
    return QStringLiteral("%1:%2:%3").arg(s / 3600).arg(twoDigits((s % 3600) / 60)).arg(twoDigits(s % 60));
}

QString menuElapsed(double seconds)
{
    const qint64 s = wholeSeconds(seconds);
    return QStringLiteral("%1:%2").arg(s / 60).arg(twoDigits(s % 60));
}

QString relativeDate(const QDateTime &date, const QDateTime &now)
{
    if (!date.isValid() || !now.isValid())
        return QString();
    const qint64 delta = date.secsTo(now); // positive: in the past
    const qint64 span = std::llabs(delta);
    const bool past = delta >= 0;
    auto phrase = [past](const QString &amount) {
        return past ? QStringLiteral("%1 ago").arg(amount) : QStringLiteral("in %1").arg(amount);
    };
    if (span < 60)
        return past ? QStringLiteral("now") : QStringLiteral("in a moment");
    if (span < 3600)
        return phrase(plural(span / 60, "minute"));
    if (span < 86400)
        return phrase(plural(span / 3600, "hour"));
    const qint64 days = date.date().daysTo(now.date());
    if (days == 1)
        return QStringLiteral("yesterday");
    if (days == -1)
        return QStringLiteral("tomorrow");
    const qint64 d = std::llabs(days);
    if (d < 7)
        return phrase(plural(d, "day"));
    if (d < 31)
        return phrase(plural(d / 7, "week"));
    if (d < 365)
        return phrase(plural(d / 30, "month"));
    return phrase(plural(d / 365, "year"));
}

QString timeOfDay(const QDateTime &date)
{
    const QLocale locale;
    QString format = locale.timeFormat(QLocale::ShortFormat);
    // Some locales' short form still carries seconds.
    format.remove(QStringLiteral(":ss"));
    format.remove(QStringLiteral(".ss"));
    return locale.toString(date.toLocalTime().time(), format);
}

QString dateAndTime(const QDateTime &date, bool full)
{
    const QLocale locale;
    const QDateTime local = date.toLocalTime();
    const QString day = locale.toString(local.date(), full ? QStringLiteral("dddd, MMMM d, yyyy") : QStringLiteral("MMM d, yyyy"));
    return day + QStringLiteral(" \u00B7 ") + timeOfDay(date);
}

QString titleOrUntitled(const QString &title)
{
    return title.isEmpty() ? QStringLiteral("Untitled") : title;
}

} // namespace MeetingText
