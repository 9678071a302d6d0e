#pragma once

#include "Clock.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <optional>

class QNetworkAccessManager;
class QObject;

// The gateway's credit for a gateway key, in dollars. Only a 200 with a number under "balance"
// counts; every other answer is none, silently: the last known figure then stays.
class GatewayBalance
{
public:
    static constexpr std::chrono::seconds timeout{15};

    using Done = std::function<void(std::optional<double> balance)>;

    // `done` runs once, unless `context` is gone by then.
    static void fetch(QNetworkAccessManager &network, Clock &clock, const QUrl &webBase, const QString &key, QObject *context,
                      Done done);
    static std::optional<double> parse(const QByteArray &body);
};
