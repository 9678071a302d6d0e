#include "Keychain.h"

#include "KeychainStatus.h"
#include "Log.h"
#include "SecretFile.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QMutex>
#include <QPointer>
#include <QStringDecoder>
#include <QThread>

#include <qt6keychain/keychain.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <utility>

namespace {

using namespace std::chrono_literals;

// Only a service that never answers hits this; a prompt for an unlock password may take a while.
constexpr auto kJobWait = 120s;
// The bus daemon answers at once; one that does not is as good as none.
constexpr int kBusWaitMs = 3000;

// Calls queued and not yet done: the exit waits for them, so a secret stored just before is kept.
std::atomic<int> g_pending = 0;

struct JobResult
{
    QKeychain::Error error = QKeychain::OtherError;
    QByteArray data;
};
using Done = std::function<void(const JobResult &)>;

QString serviceName()
{
    return QLatin1String(Keychain::service);
}

// Whether a keyring serves the session bus, running or started by the bus on the first call:
// the Secret Service, or KWallet, which QtKeychain uses on KDE. Asked at every call, so that
// the secrets follow a keyring that comes or goes. Only the bus itself is asked, briefly.
bool keyringAnswers()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    static const QStringList keyrings{QStringLiteral("org.freedesktop.secrets"), QStringLiteral("org.kde.kwalletd6"),
                                      QStringLiteral("org.kde.kwalletd5")};
    for (const char *list : {"ListNames", "ListActivatableNames"}) {
        const QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                                                 QStringLiteral("org.freedesktop.DBus"), QLatin1String(list));
        const QStringList names = bus.call(call, QDBus::Block, kBusWaitMs).arguments().value(0).toStringList();
        if (std::any_of(keyrings.cbegin(), keyrings.cend(), [&](const QString &name) { return names.contains(name); }))
            return true;
    }
    return false;
}

// QtKeychain runs its jobs one after another on the thread that first used it, through that
// thread's event loop. One thread of our own keeps that loop running whatever the caller's
// thread is doing, and spares the caller a nested event loop. The file, where no keyring
// answers, is used on this thread too, so every call keeps its place in line.
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
            const QDeadlineTimer deadline(5000);
            while (g_pending > 0 && !deadline.hasExpired())
                QThread::msleep(5);
            QMutexLocker lock(&mutex);
            QThread *thread = std::exchange(home, nullptr)->thread();
            thread->quit();
            // A job stuck in the service must not hold the exit up for good; the thread is then left behind.
            if (thread->wait(deadline))
                delete thread;
        });
    }
    return home;
}

// On the keychain's thread.
template<typename Job>
void startJob(const QString &account, const std::function<void(Job &job)> &prepare, Done done)
{
    auto *job = new Job(serviceName()); // made on the keychain's thread, and so living there
    job->setAutoDelete(true);
    job->setInsecureFallback(false);
    job->setKey(account);
    if (prepare)
        prepare(*job);
    QObject::connect(job, &QKeychain::Job::finished, job, [done = std::move(done)](QKeychain::Job *finished) {
        JobResult r{finished->error(), {}};
        if (auto *read = qobject_cast<QKeychain::ReadPasswordJob *>(finished))
            r.data = read->binaryData();
        done(r);
    });
    job->start();
}

JobResult fileResult(const QString &why)
{
    return JobResult{why.isEmpty() ? QKeychain::NoError : QKeychain::OtherError, {}};
}

void write(const QString &account, const QString &value, const Done &done)
{
    if (!keyringAnswers()) {
        KeychainStatus::instance().setUsesFile(true);
        done(fileResult(SecretFile().set(serviceName(), account, value)));
        return;
    }
    KeychainStatus::instance().setUsesFile(false);
    startJob<QKeychain::WritePasswordJob>(account, [value](QKeychain::WritePasswordJob &job) { job.setTextData(value); },
                                          [account, done](const JobResult &r) {
                                              // A copy kept while no keyring answered is out of date now.
                                              if (r.error == QKeychain::NoError)
                                                  SecretFile().remove(serviceName(), account);
                                              done(r);
                                          });
}

void read(const QString &account, const Done &done)
{
    if (!keyringAnswers()) {
        KeychainStatus::instance().setUsesFile(true);
        const std::optional<QString> value = SecretFile().value(serviceName(), account);
        done(value ? JobResult{QKeychain::NoError, value->toUtf8()} : JobResult{QKeychain::EntryNotFound, {}});
        return;
    }
    KeychainStatus::instance().setUsesFile(false);
    startJob<QKeychain::ReadPasswordJob>(account, {}, [account, done](const JobResult &r) {
        // A secret kept in the file while no keyring answered moves into the keyring that now does.
        const std::optional<QString> kept = r.error == QKeychain::EntryNotFound ? SecretFile().value(serviceName(), account) : std::nullopt;
        if (!kept) {
            done(r);
            return;
        }
        write(account, *kept, [kept, done](const JobResult &) { done(JobResult{QKeychain::NoError, kept->toUtf8()}); });
    });
}

void erase(const QString &account, const Done &done)
{
    const JobResult fromFile = fileResult(SecretFile().remove(serviceName(), account));
    if (!keyringAnswers()) {
        KeychainStatus::instance().setUsesFile(true);
        done(fromFile);
        return;
    }
    KeychainStatus::instance().setUsesFile(false);
    startJob<QKeychain::DeletePasswordJob>(account, {}, done);
}

void logFailedWrite(const QString &account, const JobResult &result)
{
    qCInfo(lcOndel).noquote() << QStringLiteral("Keychain write failed for %1: %2").arg(account).arg(int(result.error));
}

// Runs `operation` on the keychain's thread, behind every call before it, and returns at once.
void queue(const std::function<void(const Done &)> &operation, const Done &done)
{
    ++g_pending;
    QMetaObject::invokeMethod(jobHome(), [operation, done] {
        operation([done](const JobResult &r) {
            done(r);
            --g_pending;
        });
    }, Qt::QueuedConnection);
}

// Hands a result to the main thread, where `context` is looked at: it may be gone by then.
void answer(const QPointer<QObject> &context, std::function<void()> then)
{
    if (QCoreApplication *app = QCoreApplication::instance()) { // none while the exit waits for the queue
        QMetaObject::invokeMethod(app, [context, then = std::move(then)] {
            if (context)
                then();
        }, Qt::QueuedConnection);
    }
}

std::optional<QString> text(const JobResult &result)
{
    if (result.error != QKeychain::NoError)
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(result.data);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

// Runs `operation` on the keychain's thread and waits for its result.
JobResult run(const std::function<void(const Done &)> &operation)
{
    auto promise = std::make_shared<std::promise<JobResult>>();
    std::future<JobResult> result = promise->get_future();
    QMetaObject::invokeMethod(jobHome(), [operation, promise] {
        operation([promise](const JobResult &r) { promise->set_value(r); });
    }, Qt::QueuedConnection);
    if (result.wait_for(kJobWait) != std::future_status::ready)
        return JobResult{};
    return result.get();
}

} // namespace

bool Keychain::set(const QString &value, const QString &account)
{
    const JobResult result = run([account, value](const Done &done) { write(account, value, done); });
    if (result.error != QKeychain::NoError) {
        logFailedWrite(account, result);
        return false;
    }
    return true;
}

void Keychain::setLater(const QString &value, const QString &account)
{
    queue([account, value](const Done &done) { write(account, value, done); }, [account](const JobResult &result) {
        if (result.error != QKeychain::NoError)
            logFailedWrite(account, result);
    });
}

void Keychain::setLater(const QString &value, const QString &account, QObject *context, std::function<void(bool stored)> then)
{
    const QPointer<QObject> guard(context);
    queue([account, value](const Done &done) { write(account, value, done); }, [account, guard, then](const JobResult &result) {
        if (result.error != QKeychain::NoError)
            logFailedWrite(account, result);
        const bool stored = result.error == QKeychain::NoError;
        answer(guard, [then, stored] { then(stored); });
    });
}

void Keychain::stringLater(const QString &account, QObject *context, std::function<void(const std::optional<QString> &value)> then)
{
    const QPointer<QObject> guard(context);
    queue([account](const Done &done) { read(account, done); }, [guard, then](const JobResult &result) {
        answer(guard, [then, value = text(result)] { then(value); });
    });
}

void Keychain::removeLater(const QString &account)
{
    queue([account](const Done &done) { erase(account, done); }, [](const JobResult &) {});
}

std::optional<QString> Keychain::string(const QString &account)
{
    return text(run([account](const Done &done) { read(account, done); }));
}

void Keychain::remove(const QString &account)
{
    run([account](const Done &done) { erase(account, done); });
}

bool Keychain::usesFile()
{
    return KeychainStatus::instance().usesFile();
}
