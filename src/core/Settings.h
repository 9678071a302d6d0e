#pragma once

#include <QJsonObject>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// The user's preferences, kept as one JSON file in the config folder. Values are read at the
// point of use, so a change takes effect without a restart. A stored value of the wrong type
// reads as the key's default; a file that does not parse is moved aside, never overwritten.
// Secrets never live here (the one legacy key is only read, for its move to the keyring).
class Settings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString transcriptionLanguage READ transcriptionLanguage WRITE setTranscriptionLanguage NOTIFY transcriptionLanguageChanged)
    Q_PROPERTY(QStringList customDictionary READ customDictionary WRITE setCustomDictionary NOTIFY customDictionaryChanged)
    Q_PROPERTY(bool echoSuppressionEnabled READ echoSuppressionEnabled WRITE setEchoSuppressionEnabled NOTIFY echoSuppressionEnabledChanged)
    Q_PROPERTY(bool liveDraftEnabled READ liveDraftEnabled WRITE setLiveDraftEnabled NOTIFY liveDraftEnabledChanged)
    Q_PROPERTY(bool soundEnabled READ soundEnabled WRITE setSoundEnabled NOTIFY soundEnabledChanged)
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY launchAtLoginChanged)
    Q_PROPERTY(bool meetingRemindersEnabled READ meetingRemindersEnabled WRITE setMeetingRemindersEnabled NOTIFY meetingRemindersEnabledChanged)
    Q_PROPERTY(QVariantMap calendarVisibility READ calendarVisibility WRITE setCalendarVisibility NOTIFY calendarVisibilityChanged)
    Q_PROPERTY(QStringList alwaysRecordCalendars READ alwaysRecordCalendars WRITE setAlwaysRecordCalendars NOTIFY alwaysRecordCalendarsChanged)
    Q_PROPERTY(bool calendarConnected READ calendarConnected WRITE setCalendarConnected NOTIFY calendarConnectedChanged)
    Q_PROPERTY(QString chatModel READ chatModel WRITE setChatModel NOTIFY chatModelChanged)
    Q_PROPERTY(double transcriptPaneHeight READ transcriptPaneHeight WRITE setTranscriptPaneHeight NOTIFY transcriptPaneHeightChanged)
    Q_PROPERTY(QString appTheme READ appTheme WRITE setAppTheme NOTIFY appThemeChanged)
    Q_PROPERTY(bool onboardingCompleted READ onboardingCompleted WRITE setOnboardingCompleted NOTIFY onboardingCompletedChanged)

public:
    // Opens (or will create) the file at `filePath`.
    explicit Settings(const QString &filePath, QObject *parent = nullptr);

    // The process-wide settings of this build's config folder.
    static Settings &shared();

    QString filePath() const { return m_filePath; }

    QString transcriptionLanguage() const;
    void setTranscriptionLanguage(const QString &value);
    QStringList customDictionary() const;
    void setCustomDictionary(const QStringList &value);
    bool echoSuppressionEnabled() const;
    void setEchoSuppressionEnabled(bool value);
    bool liveDraftEnabled() const;
    void setLiveDraftEnabled(bool value);
    bool soundEnabled() const;
    void setSoundEnabled(bool value);
    bool launchAtLogin() const;
    void setLaunchAtLogin(bool value);
    bool meetingRemindersEnabled() const;
    void setMeetingRemindersEnabled(bool value);
    QVariantMap calendarVisibility() const;
    void setCalendarVisibility(const QVariantMap &value);
    QStringList alwaysRecordCalendars() const;
    void setAlwaysRecordCalendars(const QStringList &value);
    // The user's consent to read the desktop's calendars ("Connect your calendar"): the desktop
    // asks no permission of its own.
    bool calendarConnected() const;
    void setCalendarConnected(bool value);
    // JSON data; absent reads as empty.
    QByteArray googleAccounts() const;
    void setGoogleAccounts(const QByteArray &json);
    QString chatModel() const;
    void setChatModel(const QString &value);
    double transcriptPaneHeight() const;
    void setTranscriptPaneHeight(double value);
    QString appTheme() const;
    void setAppTheme(const QString &value);
    bool onboardingCompleted() const;
    void setOnboardingCompleted(bool value);
    std::optional<QString> ondelCloudBase() const;
    void setOndelCloudBase(const std::optional<QString> &value);
    // The model gateway's API and web origins, when a build is pointed at another server; no UI.
    std::optional<QString> vrelDirectBase() const;
    void setVrelDirectBase(const std::optional<QString> &value);
    std::optional<QString> vrelWebBase() const;
    void setVrelWebBase(const std::optional<QString> &value);
    // The product's web site (version file, download), likewise.
    std::optional<QString> ondelWebBase() const;
    void setOndelWebBase(const std::optional<QString> &value);

    // The keys a user may see and set, with their type names ("string", "boolean", "number",
    // "list of strings", "dictionary of string to boolean", "JSON data") and defaults. The
    // legacy secret is not among them.
    struct KeyInfo
    {
        QString name;
        QString type;
        QJsonValue defaultValue; // undefined: absent by default
    };
    static const QList<KeyInfo> &keys();
    // The value in effect: the stored one when it has the right type, else the default.
    QJsonValue value(const QString &key) const;
    // Reads `text` as a value of the key's type and stores it. Refuses (false, with `error`)
    // an unknown key or a value of the wrong type, and then changes nothing.
    bool setFromText(const QString &key, const QString &text, QString *error);

    // A key from an older version that held a secret; read once for its move, then removed.
    std::optional<QString> legacyVrelApiKey() const;
    void removeLegacyVrelApiKey();

Q_SIGNALS:
    void transcriptionLanguageChanged();
    void customDictionaryChanged();
    void echoSuppressionEnabledChanged();
    void liveDraftEnabledChanged();
    void soundEnabledChanged();
    void launchAtLoginChanged();
    void meetingRemindersEnabledChanged();
    void calendarVisibilityChanged();
    void alwaysRecordCalendarsChanged();
    void calendarConnectedChanged();
    void googleAccountsChanged();
    void chatModelChanged();
    void transcriptPaneHeightChanged();
    void appThemeChanged();
    void onboardingCompletedChanged();
    void ondelCloudBaseChanged();
    // Any key, by name.
    void valueChanged(const QString &key);

private:
    void load();
    bool write(const QString &key, const QJsonValue &value); // an undefined value removes the key
    void notify(const QString &key);

    bool boolValue(const char *key, bool fallback) const;
    QString stringValue(const char *key, const QString &fallback) const;
    QStringList stringListValue(const char *key) const;

    QString m_filePath;
    QJsonObject m_values;
};
