#include "Settings.h"

#include "AppIdentity.h"
#include "Log.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QSaveFile>

#include <algorithm>
#include <cmath>

namespace {
constexpr const char *kTranscriptionLanguage = "transcriptionLanguage";
constexpr const char *kCustomDictionary = "customDictionary";
constexpr const char *kEchoSuppressionEnabled = "echoSuppressionEnabled";
constexpr const char *kLiveDraftEnabled = "liveDraftEnabled";
constexpr const char *kSoundEnabled = "soundEnabled";
constexpr const char *kLaunchAtLogin = "launchAtLogin";
constexpr const char *kMeetingRemindersEnabled = "meetingRemindersEnabled";
constexpr const char *kCalendarVisibility = "calendarVisibility";
constexpr const char *kAlwaysRecordCalendars = "alwaysRecordCalendars";
constexpr const char *kCalendarConnected = "calendarConnected";
constexpr const char *kGoogleAccounts = "googleAccounts";
constexpr const char *kChatModel = "chatModel";
constexpr const char *kTranscriptPaneHeight = "transcriptPaneHeight";
constexpr const char *kAppTheme = "appTheme";
constexpr const char *kOnboardingCompleted = "onboardingCompleted";
constexpr const char *kOndelCloudBase = "ondelCloudBase";
constexpr const char *kVrelApiKey = "vrelApiKey";
constexpr const char *kVrelDirectBase = "vrelDirectBase";
constexpr const char *kVrelWebBase = "vrelWebBase";
constexpr const char *kOndelWebBase = "ondelWebBase";

QJsonArray toJsonArray(const QStringList &list)
{
    QJsonArray array;
    for (const QString &s : list)
        array.append(s);
    return array;
}
} // namespace

Settings::Settings(const QString &filePath, QObject *parent)
    : QObject(parent)
    , m_filePath(filePath)
{
    load();
}

Settings &Settings::shared()
{
    static Settings *settings = new Settings(AppIdentity::configDirectory() + QStringLiteral("/settings.json"));
    return *settings;
}

void Settings::load()
{
    QFile file(m_filePath);
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        qCInfo(lcOndel).noquote() << QStringLiteral("Settings file unreadable (%1); using defaults").arg(file.errorString());
        return;
    }
    const QByteArray bytes = file.readAll();
    file.close();

    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error == QJsonParseError::NoError && document.isObject()) {
        m_values = document.object();
        return;
    }

    // Keep what the user had: move the file aside rather than overwrite it on the next write.
    const QString reason = error.error != QJsonParseError::NoError ? error.errorString() : QStringLiteral("not a JSON object");
    const QString stamp = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
    QString aside = m_filePath + QStringLiteral(".broken-") + stamp;
    for (int n = 2; QFileInfo::exists(aside); ++n)
        aside = m_filePath + QStringLiteral(".broken-") + stamp + QLatin1Char('-') + QString::number(n);
    if (QFile::rename(m_filePath, aside))
        qCInfo(lcOndel).noquote() << QStringLiteral("Settings file could not be read (%1); moved aside to %2, using defaults").arg(reason, aside);
    else
        qCInfo(lcOndel).noquote() << QStringLiteral("Settings file could not be read (%1) nor moved aside; using defaults").arg(reason);
}

bool Settings::write(const QString &key, const QJsonValue &value)
{
    const QJsonValue old = m_values.value(key);
    if (old == value)
        return false;
    if (value.isUndefined())
        m_values.remove(key);
    else
        m_values.insert(key, value);

    QDir().mkpath(QFileInfo(m_filePath).absolutePath());
    // QSaveFile writes a temporary file and renames it over the old one: a crash never leaves half a file.
    QSaveFile file(m_filePath);
    if (!file.open(QIODevice::WriteOnly)
        || file.write(QJsonDocument(m_values).toJson(QJsonDocument::Indented)) < 0
        || !file.commit()) {
        qCInfo(lcOndel).noquote() << QStringLiteral("Settings could not be saved: %1").arg(file.errorString());
    }
    notify(key);
    return true;
}

void Settings::notify(const QString &key)
{
    using Signal = void (Settings::*)();
    static const QHash<QString, Signal> signalOf = {
        {QLatin1String(kTranscriptionLanguage), &Settings::transcriptionLanguageChanged},
        {QLatin1String(kCustomDictionary), &Settings::customDictionaryChanged},
        {QLatin1String(kEchoSuppressionEnabled), &Settings::echoSuppressionEnabledChanged},
        {QLatin1String(kLiveDraftEnabled), &Settings::liveDraftEnabledChanged},
        {QLatin1String(kSoundEnabled), &Settings::soundEnabledChanged},
        {QLatin1String(kLaunchAtLogin), &Settings::launchAtLoginChanged},
        {QLatin1String(kMeetingRemindersEnabled), &Settings::meetingRemindersEnabledChanged},
        {QLatin1String(kCalendarVisibility), &Settings::calendarVisibilityChanged},
        {QLatin1String(kAlwaysRecordCalendars), &Settings::alwaysRecordCalendarsChanged},
        {QLatin1String(kCalendarConnected), &Settings::calendarConnectedChanged},
        {QLatin1String(kGoogleAccounts), &Settings::googleAccountsChanged},
        {QLatin1String(kChatModel), &Settings::chatModelChanged},
        {QLatin1String(kTranscriptPaneHeight), &Settings::transcriptPaneHeightChanged},
        {QLatin1String(kAppTheme), &Settings::appThemeChanged},
        {QLatin1String(kOnboardingCompleted), &Settings::onboardingCompletedChanged},
        {QLatin1String(kOndelCloudBase), &Settings::ondelCloudBaseChanged},
    };
    if (const Signal signal = signalOf.value(key))
        Q_EMIT(this->*signal)();
    Q_EMIT valueChanged(key);
}

bool Settings::boolValue(const char *key, bool fallback) const
{
    const QJsonValue v = m_values.value(QLatin1String(key));
    return v.isBool() ? v.toBool() : fallback;
}

QString Settings::stringValue(const char *key, const QString &fallback) const
{
    const QJsonValue v = m_values.value(QLatin1String(key));
    return v.isString() ? v.toString() : fallback;
}

QStringList Settings::stringListValue(const char *key) const
{
    const QJsonValue v = m_values.value(QLatin1String(key));
    if (!v.isArray())
        return {};
    QStringList list;
    for (const QJsonValue &item : v.toArray()) {
        if (!item.isString())
            return {};
        list.append(item.toString());
    }
    return list;
}

QString Settings::transcriptionLanguage() const { return stringValue(kTranscriptionLanguage, QStringLiteral("auto")); }
void Settings::setTranscriptionLanguage(const QString &value) { write(QLatin1String(kTranscriptionLanguage), value); }

QStringList Settings::customDictionary() const { return stringListValue(kCustomDictionary); }
void Settings::setCustomDictionary(const QStringList &value) { write(QLatin1String(kCustomDictionary), toJsonArray(value)); }

bool Settings::echoSuppressionEnabled() const { return boolValue(kEchoSuppressionEnabled, true); }
void Settings::setEchoSuppressionEnabled(bool value) { write(QLatin1String(kEchoSuppressionEnabled), value); }

bool Settings::liveDraftEnabled() const { return boolValue(kLiveDraftEnabled, false); }
void Settings::setLiveDraftEnabled(bool value) { write(QLatin1String(kLiveDraftEnabled), value); }

bool Settings::soundEnabled() const { return boolValue(kSoundEnabled, true); }
void Settings::setSoundEnabled(bool value) { write(QLatin1String(kSoundEnabled), value); }

bool Settings::launchAtLogin() const { return boolValue(kLaunchAtLogin, false); }
void Settings::setLaunchAtLogin(bool value) { write(QLatin1String(kLaunchAtLogin), value); }

bool Settings::meetingRemindersEnabled() const { return boolValue(kMeetingRemindersEnabled, true); }
void Settings::setMeetingRemindersEnabled(bool value) { write(QLatin1String(kMeetingRemindersEnabled), value); }

QVariantMap Settings::calendarVisibility() const
{
    const QJsonValue v = m_values.value(QLatin1String(kCalendarVisibility));
    if (!v.isObject())
        return {};
    const QJsonObject object = v.toObject();
    QVariantMap map;
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!it.value().isBool())
            return {};
        map.insert(it.key(), it.value().toBool());
    }
    return map;
}

void Settings::setCalendarVisibility(const QVariantMap &value)
{
    QJsonObject object;
    for (auto it = value.begin(); it != value.end(); ++it)
        object.insert(it.key(), it.value().toBool());
    write(QLatin1String(kCalendarVisibility), object);
}

QStringList Settings::alwaysRecordCalendars() const { return stringListValue(kAlwaysRecordCalendars); }
void Settings::setAlwaysRecordCalendars(const QStringList &value) { write(QLatin1String(kAlwaysRecordCalendars), toJsonArray(value)); }

bool Settings::calendarConnected() const { return boolValue(kCalendarConnected, false); }
void Settings::setCalendarConnected(bool value) { write(QLatin1String(kCalendarConnected), value); }

QByteArray Settings::googleAccounts() const { return stringValue(kGoogleAccounts, {}).toUtf8(); }
void Settings::setGoogleAccounts(const QByteArray &json)
{
    write(QLatin1String(kGoogleAccounts), json.isEmpty() ? QJsonValue(QJsonValue::Undefined) : QJsonValue(QString::fromUtf8(json)));
}

QString Settings::chatModel() const { return stringValue(kChatModel, QStringLiteral("fast")); }
void Settings::setChatModel(const QString &value) { write(QLatin1String(kChatModel), value); }

double Settings::transcriptPaneHeight() const
{
    const QJsonValue v = m_values.value(QLatin1String(kTranscriptPaneHeight));
    return v.isDouble() ? v.toDouble() : 340.0;
}
void Settings::setTranscriptPaneHeight(double value) { write(QLatin1String(kTranscriptPaneHeight), value); }

QString Settings::appTheme() const { return stringValue(kAppTheme, QStringLiteral("system")); }
void Settings::setAppTheme(const QString &value) { write(QLatin1String(kAppTheme), value); }

bool Settings::onboardingCompleted() const { return boolValue(kOnboardingCompleted, false); }
void Settings::setOnboardingCompleted(bool value) { write(QLatin1String(kOnboardingCompleted), value); }

std::optional<QString> Settings::ondelCloudBase() const
{
    const QJsonValue v = m_values.value(QLatin1String(kOndelCloudBase));
    return v.isString() ? std::optional<QString>(v.toString()) : std::nullopt;
}
void Settings::setOndelCloudBase(const std::optional<QString> &value)
{
    write(QLatin1String(kOndelCloudBase), value ? QJsonValue(*value) : QJsonValue(QJsonValue::Undefined));
}

std::optional<QString> Settings::vrelDirectBase() const
{
    const QJsonValue v = m_values.value(QLatin1String(kVrelDirectBase));
    return v.isString() ? std::optional<QString>(v.toString()) : std::nullopt;
}
void Settings::setVrelDirectBase(const std::optional<QString> &value)
{
    write(QLatin1String(kVrelDirectBase), value ? QJsonValue(*value) : QJsonValue(QJsonValue::Undefined));
}

std::optional<QString> Settings::vrelWebBase() const
{
    const QJsonValue v = m_values.value(QLatin1String(kVrelWebBase));
    return v.isString() ? std::optional<QString>(v.toString()) : std::nullopt;
}
void Settings::setVrelWebBase(const std::optional<QString> &value)
{
    write(QLatin1String(kVrelWebBase), value ? QJsonValue(*value) : QJsonValue(QJsonValue::Undefined));
}

std::optional<QString> Settings::ondelWebBase() const
{
    const QJsonValue v = m_values.value(QLatin1String(kOndelWebBase));
    return v.isString() ? std::optional<QString>(v.toString()) : std::nullopt;
}
void Settings::setOndelWebBase(const std::optional<QString> &value)
{
    write(QLatin1String(kOndelWebBase), value ? QJsonValue(*value) : QJsonValue(QJsonValue::Undefined));
}

std::optional<QString> Settings::legacyVrelApiKey() const
{
    const QJsonValue v = m_values.value(QLatin1String(kVrelApiKey));
    return v.isString() ? std::optional<QString>(v.toString()) : std::nullopt;
}
void Settings::removeLegacyVrelApiKey() { write(QLatin1String(kVrelApiKey), QJsonValue(QJsonValue::Undefined)); }

const QList<Settings::KeyInfo> &Settings::keys()
{
    static const QList<KeyInfo> table = {
        {QLatin1String(kTranscriptionLanguage), QStringLiteral("string"), QStringLiteral("auto")},
        {QLatin1String(kCustomDictionary), QStringLiteral("list of strings"), QJsonArray()},
        {QLatin1String(kEchoSuppressionEnabled), QStringLiteral("boolean"), true},
        {QLatin1String(kLiveDraftEnabled), QStringLiteral("boolean"), false},
        {QLatin1String(kSoundEnabled), QStringLiteral("boolean"), true},
        {QLatin1String(kLaunchAtLogin), QStringLiteral("boolean"), false},
        {QLatin1String(kMeetingRemindersEnabled), QStringLiteral("boolean"), true},
        {QLatin1String(kCalendarVisibility), QStringLiteral("dictionary of string to boolean"), QJsonObject()},
        {QLatin1String(kAlwaysRecordCalendars), QStringLiteral("list of strings"), QJsonArray()},
        {QLatin1String(kCalendarConnected), QStringLiteral("boolean"), false},
        {QLatin1String(kGoogleAccounts), QStringLiteral("JSON data"), QJsonValue(QJsonValue::Undefined)},
        {QLatin1String(kChatModel), QStringLiteral("string"), QStringLiteral("fast")},
        {QLatin1String(kTranscriptPaneHeight), QStringLiteral("number"), 340.0},
        {QLatin1String(kAppTheme), QStringLiteral("string"), QStringLiteral("system")},
        {QLatin1String(kOnboardingCompleted), QStringLiteral("boolean"), false},
        {QLatin1String(kOndelCloudBase), QStringLiteral("string"), QJsonValue(QJsonValue::Undefined)},
        {QLatin1String(kVrelDirectBase), QStringLiteral("string"), QJsonValue(QJsonValue::Undefined)},
        {QLatin1String(kVrelWebBase), QStringLiteral("string"), QJsonValue(QJsonValue::Undefined)},
        {QLatin1String(kOndelWebBase), QStringLiteral("string"), QJsonValue(QJsonValue::Undefined)},
    };
    return table;
}

QJsonValue Settings::value(const QString &key) const
{
    const auto info = std::find_if(keys().begin(), keys().end(), [&](const KeyInfo &k) { return k.name == key; });
    if (info == keys().end())
        return QJsonValue(QJsonValue::Undefined);
    if (key == QLatin1String(kCustomDictionary))
        return toJsonArray(customDictionary());
    if (key == QLatin1String(kAlwaysRecordCalendars))
        return toJsonArray(alwaysRecordCalendars());
    if (key == QLatin1String(kCalendarVisibility))
        return QJsonObject::fromVariantMap(calendarVisibility());
    if (key == QLatin1String(kGoogleAccounts)) {
        const QByteArray data = googleAccounts();
        return data.isEmpty() ? QJsonValue(QJsonValue::Undefined) : QJsonValue(QString::fromUtf8(data));
    }
    if (info->defaultValue.isUndefined()) { // optional strings
        const QJsonValue stored = m_values.value(key);
        return stored.isString() ? stored : QJsonValue(QJsonValue::Undefined);
    }
    const QJsonValue stored = m_values.value(key);
    return stored.type() == info->defaultValue.type() ? stored : info->defaultValue;
}

bool Settings::setFromText(const QString &key, const QString &text, QString *error)
{
    auto refuse = [error](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    const auto info = std::find_if(keys().begin(), keys().end(), [&](const KeyInfo &k) { return k.name == key; });
    if (info == keys().end())
        return refuse(QStringLiteral("Unknown setting \"%1\"").arg(key));

    const QString &type = info->type;
    QJsonValue value;
    if (type == QLatin1String("string")) {
        value = text;
    } else if (type == QLatin1String("boolean")) {
        if (text != QLatin1String("true") && text != QLatin1String("false"))
            return refuse(QStringLiteral("%1 takes true or false").arg(key));
        value = text == QLatin1String("true");
    } else if (type == QLatin1String("number")) {
        bool ok = false;
        const double number = text.toDouble(&ok);
        if (!ok || !std::isfinite(number))
            return refuse(QStringLiteral("%1 takes a number").arg(key));
        value = number;
    } else {
        QJsonParseError parseError{};
        const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &parseError);
        if (type == QLatin1String("JSON data")) {
            if (parseError.error != QJsonParseError::NoError)
                return refuse(QStringLiteral("%1 takes JSON: %2").arg(key, parseError.errorString()));
            value = text;
        } else if (type == QLatin1String("list of strings")) {
            const bool fits = document.isArray()
                && std::all_of(document.array().begin(), document.array().end(), [](const QJsonValue &v) { return v.isString(); });
            if (!fits)
                return refuse(QStringLiteral("%1 takes a JSON list of strings, like [\"Acme\", \"Vrel\"]").arg(key));
            value = document.array();
        } else {
            const QJsonObject object = document.object();
            const bool fits = document.isObject()
                && std::all_of(object.begin(), object.end(), [](const QJsonValue &v) { return v.isBool(); });
            if (!fits)
                return refuse(QStringLiteral("%1 takes a JSON object of true/false values, like {\"Work\": true}").arg(key));
            value = object;
        }
    }
    write(key, value);
    return true;
}
