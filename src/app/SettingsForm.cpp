#include "SettingsForm.h"

#include "AppServices.h"
#include "AppShell.h"
#include "CustomDictionary.h"
#include "LiveDraft.h"
#include "MicrophonePermission.h"

SettingsForm::SettingsForm(QObject *parent)
    : SettingsForm(AppShell::current()->services(), parent)
{
}

SettingsForm::SettingsForm(AppServices &services, QObject *parent)
    : QObject(parent)
    , m_services(services)
{
    refreshMicrophone();
    refreshLiveDraft();
}

void SettingsForm::setNewWord(const QString &word)
{
    if (word == m_newWord)
        return;
    m_newWord = word;
    Q_EMIT newWordChanged();
}

void SettingsForm::addWord()
{
    if (m_newWord.trimmed().isEmpty())
        return;
    CustomDictionary::add(m_services.settings(), m_newWord);
    setNewWord(QString());
}

void SettingsForm::removeWord(int index)
{
    CustomDictionary::remove(m_services.settings(), index);
}

void SettingsForm::refreshMicrophone()
{
    const bool granted = m_services.microphone().status() == MicrophonePermission::Status::Authorized;
    if (granted == m_micGranted)
        return;
    m_micGranted = granted;
    Q_EMIT micGrantedChanged();
}

void SettingsForm::refreshLiveDraft()
{
    const bool available = m_services.liveDraft().isAvailable();
    if (available == m_liveDraftAvailable)
        return;
    m_liveDraftAvailable = available;
    Q_EMIT liveDraftAvailableChanged();
}

QString SettingsForm::liveDraftNote() const
{
    if (m_liveDraftAvailable)
        return {};
    return QStringLiteral("Needs the English speech model, which isn't installed on this computer: install the "
                          "pocketsphinx-en-us package (sudo apt install pocketsphinx-en-us), then come back here.");
}
