#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

class AppServices;

// The settings page's own state and actions: the dictionary's field, and whether the
// microphone may be used and the live draft can run, read again each time the page asks.
class SettingsForm : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString newWord READ newWord WRITE setNewWord NOTIFY newWordChanged)
    Q_PROPERTY(bool micGranted READ micGranted NOTIFY micGrantedChanged)
    // Whether this computer can make the rough live text, and if not, what to install.
    Q_PROPERTY(bool liveDraftAvailable READ liveDraftAvailable NOTIFY liveDraftAvailableChanged)
    Q_PROPERTY(QString liveDraftNote READ liveDraftNote NOTIFY liveDraftAvailableChanged)

public:
    explicit SettingsForm(QObject *parent = nullptr);
    explicit SettingsForm(AppServices &services, QObject *parent = nullptr);

    QString newWord() const { return m_newWord; }
    void setNewWord(const QString &word);
    bool micGranted() const { return m_micGranted; }
    bool liveDraftAvailable() const { return m_liveDraftAvailable; }
    QString liveDraftNote() const;

    // "Add", and Return in the field: a word of blanks stays in the field and adds nothing.
    Q_INVOKABLE void addWord();
    Q_INVOKABLE void removeWord(int index);
    Q_INVOKABLE void refreshMicrophone();
    // Read again when the window comes back, so that a model installed meanwhile shows.
    Q_INVOKABLE void refreshLiveDraft();

Q_SIGNALS:
    void newWordChanged();
    void micGrantedChanged();
    void liveDraftAvailableChanged();

private:
    AppServices &m_services;
    QString m_newWord;
    bool m_micGranted = false;
    bool m_liveDraftAvailable = false;
};
