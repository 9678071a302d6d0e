#include "ReplyDeadline.h"

#include <QNetworkReply>

std::shared_ptr<const bool> ReplyDeadline::arm(Clock &clock, QNetworkReply *reply, std::chrono::milliseconds limit)
{
    auto expired = std::make_shared<bool>(false);
    const Clock::TimerId timer = clock.schedule(limit, reply, [reply, expired] {
        if (reply->isFinished())
            return;
        *expired = true; // before abort(): the reply ends inside it
        reply->abort();
    });
    QObject::connect(reply, &QNetworkReply::finished, reply, [&clock, timer] { clock.cancel(timer); });
    return expired;
}

QString ReplyDeadline::timedOutText()
{
    return QStringLiteral("The request timed out.");
}
