#pragma once

#include <QObject>
#include <QUrl>

#include <functional>

// Where each "ondel" link goes: "ondel://callback" to the browser sign-in that waits for it,
// every other one to the account, which takes sign-in links and drops the rest. Links of other
// schemes are not Ondel's and go nowhere. Main thread only.
class UrlRouter : public QObject
{
    Q_OBJECT

public:
    using Receiver = std::function<void(const QUrl &url)>;

    explicit UrlRouter(Receiver account, QObject *parent = nullptr);

    // A browser sign-in owns "ondel://callback" while it runs: the next callback goes to it,
    // and only that one. Without one waiting, a callback is dropped.
    void awaitCallback(Receiver session);
    void cancelCallback();

public Q_SLOTS:
    void route(const QUrl &url);

private:
    Receiver m_account;
    Receiver m_callback;
};
