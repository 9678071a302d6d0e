#pragma once

#include "AccountService.h"
#include "ArchiveRecovery.h"
#include "MeetingChatService.h"
#include "Settings.h"
#include "TranscriptionSession.h"

#include <QtQml/qqml.h>

// The services of other libraries that the screens read through the App singleton.
struct SettingsForeign
{
    Q_GADGET
    QML_FOREIGN(Settings)
    QML_ANONYMOUS
};

struct TranscriptionSessionForeign
{
    Q_GADGET
    QML_FOREIGN(TranscriptionSession)
    QML_ANONYMOUS
};

struct AccountServiceForeign
{
    Q_GADGET
    QML_FOREIGN(AccountService)
    QML_NAMED_ELEMENT(AccountService)
    QML_UNCREATABLE("The one account is App.account.")
};

struct MeetingChatServiceForeign
{
    Q_GADGET
    QML_FOREIGN(MeetingChatService)
    QML_NAMED_ELEMENT(MeetingChatService)
    QML_UNCREATABLE("A meeting's screen owns its chat.")
};

struct ArchiveRecoveryForeign
{
    Q_GADGET
    QML_FOREIGN(ArchiveRecovery)
    QML_NAMED_ELEMENT(ArchiveRecovery)
    QML_UNCREATABLE("The one recovery is App.recovery.")
};
