#pragma once

#include "NotesPublisher.h"

#include <QObject>
#include <QUuid>
#include <QtQml/qqmlregistration.h>

#include <optional>

class OndelStore;

// Sharing a meeting's notes: a public link is made, put on the clipboard and shown with the
// offer to open it; a failure is shown and leaves the clipboard as it was. Main thread only.
class NotesSharing : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString meetingId READ meetingId WRITE setMeetingId NOTIFY meetingIdChanged)
    Q_PROPERTY(bool isSharing READ isSharing NOTIFY changed)
    Q_PROPERTY(bool showShareConfirm READ showShareConfirm NOTIFY changed)
    Q_PROPERTY(bool showShareError READ showShareError NOTIFY changed)
    Q_PROPERTY(QString shareURL READ shareURL NOTIFY changed)
    Q_PROPERTY(QString shareError READ shareError NOTIFY changed)

public:
    static inline const QString signInText = QStringLiteral("Sign in (Settings → Account) to share notes.");

    explicit NotesSharing(QObject *parent = nullptr);
    NotesSharing(OndelStore &store, NotesPublisher &publisher, QObject *parent = nullptr);

    QString meetingId() const;
    void setMeetingId(const QString &id);
    bool isSharing() const { return m_isSharing; }
    bool showShareConfirm() const { return m_showConfirm; }
    bool showShareError() const { return m_showError; }
    QString shareURL() const { return m_url.value_or(QString()); }
    QString shareError() const { return m_error.value_or(QString()); }

    Q_INVOKABLE void share();
    Q_INVOKABLE void openLink();
    Q_INVOKABLE void dismissConfirm();
    Q_INVOKABLE void dismissError();

Q_SIGNALS:
    void meetingIdChanged();
    void changed();

private:
    void fail(const QString &error);

    OndelStore &m_store;
    NotesPublisher &m_publisher;
    std::optional<QUuid> m_id;
    quint64 m_request = 0; // answers of earlier meetings' shares are dropped
    bool m_isSharing = false;
    bool m_showConfirm = false;
    bool m_showError = false;
    std::optional<QString> m_url;
    std::optional<QString> m_error;
};
