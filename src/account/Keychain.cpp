#include "Keychain.h"

#include "Log.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMutex>
#include <QStringDecoder>
#include <QThread>

#include <qt6keychain/keychain.h>

#include <chrono>
#include <future>
#include <utility>

namespace {

using namespace std::chrono_literals;

// Only a service that never answers hits this; a prompt for an unlock password may take a while.
constexpr auto kJobWait = 120s;

struct JobResult
{
    QKeychain::Error error = QKeychain::OtherError;
    QByteArray data;
};

// QtKeychain runs its jobs one after another on the thread that first used it, through that
// thread's event loop. One thread of our own keeps that loop running whatever the caller's
// thread is doing, and spares the caller a nested event loop.
QObject *jobHome()
{
    static QMutex mutex;
    static QObject *home = nullptr;
    QMutexLocker lock(&mutex);
    if (!home) {
        auto *thread = new QThread;
        thread->setObjectName(QStringLiteral("Keychain"));
        home = new QObject;
        home->moveToThread(thread);
        QObject::connect(thread, &QThread::finished, home, &QObject::deleteLater);
        thread->start();
        qAddPostRoutine([] {
            QMutexLocker lock(&mutex);
            QThread *thread = std::exchange(home, nullptr)->thread();
            thread->quit();
            // A job stuck in the service must not hold the exit up for good; the thread is then left behind.
            if (thread->wait(QDeadlineTimer(5000)))
                delete thread;
        });
    }
    return home;
}

template<typename Job>
JobResult run(const QString &account, std::function<void(Job &job)> prepare)
{
    QObject *home = jobHome();
    auto promise = std::make_shared<std::promise<JobResult>>();
    std::future<JobResult> result = promise->get_future();
    QMetaObject::invokeMethod(home, [home, account, prepare, promise] {
        auto *job = new Job(QLatin1String(Keychain::service), home);
        job->setAutoDelete(true);
        job->setInsecureFallback(false);
        job->setKey(account);
        if (prepare)
            prepare(*job);
        QObject::connect(job, &QKeychain::Job::finished, home, [promise](QKeychain::Job *finished) {
            JobResult r{finished->error(), {}};
            if (auto *read = qobject_cast<QKeychain::ReadPasswordJob *>(finished))
                r.data = read->binaryData();
            promise->set_value(std::move(r));
        });
        job->start();
    }, Qt::QueuedConnection);

    if (result.wait_for(kJobWait) != std::future_status::ready)
        return JobResult{};
    return result.get();
}

} // namespace

bool Keychain::set(const QString &value, const QString &account)
{
    const JobResult result = run<QKeychain::WritePasswordJob>(account, [value](QKeychain::WritePasswordJob &job) {
        job.setTextData(value);
    });
    if (result.error != QKeychain::NoError) {
        qCInfo(lcOndel).noquote() << QStringLiteral("Keychain write failed for %1: %2").arg(account).arg(int(result.error));
        return false;
    }
    return true;
}

std::optional<QString> Keychain::string(const QString &account)
{
    const JobResult result = run<QKeychain::ReadPasswordJob>(account, {});
    if (result.error != QKeychain::NoError)
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(result.data);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

void Keychain::remove(const QString &account)
{
    run<QKeychain::DeletePasswordJob>(account, {});
}
