#pragma once

#include "AccountService.h"
#include "Keychain.h"
#include "Settings.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

// The account service on a settings file of its own, written beforehand if given.
struct AccountRig
{
    QTemporaryDir dir;
    QString path = dir.filePath(QStringLiteral("settings.json"));
    std::unique_ptr<Settings> settings;
    std::unique_ptr<AccountService> account;

    explicit AccountRig(const QJsonObject &stored = {})
    {
        QFile file(path);
        if (!stored.isEmpty() && file.open(QIODevice::WriteOnly))
            file.write(QJsonDocument(stored).toJson());
        file.close();
        restart();
    }
    // Another run of the program on the same settings and keychain, once its secrets are read.
    void restart()
    {
        account.reset();
        settings = std::make_unique<Settings>(path);
        account = std::make_unique<AccountService>(*settings);
        QTRY_VERIFY(account->isLoaded());
    }
    QByteArray settingsFile() const
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};
