#include "ArchivePaths.h"

#include "AppIdentity.h"
#include "UnicodeText.h"

#include <QDir>
#include <QLocale>
#include <QRegularExpression>

namespace {

constexpr qsizetype kSlugLength = 60;
// File names are limited to 255 bytes, and the save goes through a temporary name a little
// longer than the final one. Sixty characters of some scripts (with their combining marks)
// would pass that, so the slug also stops at this many bytes of UTF-8.
constexpr qsizetype kSlugBytes = 180;

qsizetype utf8Length(char32_t c)
{
    return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

bool isMark(char32_t c)
{
    const QChar::Category category = QChar::category(c);
    return category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining || category == QChar::Mark_Enclosing;
}

// Case and diacritics folded away: lower case in the user's locale, then the accents that
// canonical decomposition splits off are dropped.
QString fold(const QString &title)
{
    const QString decomposed = QLocale().toLower(title).normalized(QString::NormalizationForm_D);
    QString kept;
    kept.reserve(decomposed.size());
    for (const char32_t c : decomposed.toUcs4()) {
        if (QChar::category(c) == QChar::Mark_NonSpacing)
            continue;
        if (QChar::requiresSurrogates(c)) {
            kept.append(QChar(QChar::highSurrogate(c)));
            kept.append(QChar(QChar::lowSurrogate(c)));
        } else {
            kept.append(QChar(c));
        }
    }
    return kept.normalized(QString::NormalizationForm_C);
}

} // namespace

QString ArchivePaths::defaultRoot()
{
    const QString name = AppIdentity::isTestBuild() ? QStringLiteral("OndelNotes-Test") : QStringLiteral("OndelNotes");
    return QDir::homePath() + QLatin1Char('/') + name;
}

QString ArchivePaths::slugify(const QString &title)
{
    QString slug;
    qsizetype characters = 0; // a mark joins the character before it
    qsizetype bytes = 0;
    bool lastWasAlphanumeric = false;
    for (const char32_t c : fold(title).toUcs4()) {
        if (UnicodeText::isAlphanumeric(c)) {
            if (bytes + utf8Length(c) > kSlugBytes)
                break;
            bytes += utf8Length(c);
            if (QChar::requiresSurrogates(c)) {
                slug.append(QChar(QChar::highSurrogate(c)));
                slug.append(QChar(QChar::lowSurrogate(c)));
            } else {
                slug.append(QChar(c));
            }
            if (!isMark(c) || characters == 0)
                ++characters;
            lastWasAlphanumeric = true;
        } else {
            if (lastWasAlphanumeric) {
                slug.append(QLatin1Char('-'));
                ++characters;
                ++bytes;
            }
            lastWasAlphanumeric = false;
        }
        if (characters >= kSlugLength)
            break;
    }
    while (slug.startsWith(QLatin1Char('-')))
        slug.remove(0, 1);
    while (slug.endsWith(QLatin1Char('-')))
        slug.chop(1);
    return slug;
}

ArchivePaths::ArchivePaths(const QString &root, const QTimeZone &zone)
    : m_root(QDir::cleanPath(root))
    , m_zone(zone.isValid() ? zone : QTimeZone::utc())
{
}

QString ArchivePaths::yearFolder(const QDateTime &date) const
{
    return QString::number(date.toTimeZone(m_zone).date().year());
}

QString ArchivePaths::relativePath(const QDateTime &date, const QString &title) const
{
    QString name = QLocale::c().toString(date.toTimeZone(m_zone), QStringLiteral("yyyy-MM-dd-HHmm"));
    if (const QString slug = slugify(title); !slug.isEmpty())
        name += QLatin1Char('-') + slug;
    return yearFolder(date) + QLatin1Char('/') + name + QStringLiteral(".md");
}

bool ArchivePaths::isSafeRelativePath(const QString &relativePath)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^-?\d{1,6}/[^/\\]+\.md$)"));
    if (!pattern.match(relativePath).hasMatch())
        return false;
    const QString file = relativePath.section(QLatin1Char('/'), 1);
    return !file.startsWith(QLatin1Char('.'));
}
