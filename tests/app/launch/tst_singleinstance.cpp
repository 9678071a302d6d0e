#include "FakeClock.h"
#include "InstanceLock.h"
#include "InstanceMessage.h"
#include "SingleInstance.h"
#include "TestEnvironment.h"

#include <QFileInfo>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTest>
#include <QtEndian>

#include <future>
#include <memory>

using namespace std::chrono_literals;

namespace {

// The first launch: it owns the data and listens.
struct RunningApp
{
    FakeClock clock;
    InstanceLock lock;
    SingleInstance instance{clock};
    QSignalSpy activations{&instance, &SingleInstance::activationRequested};
    QSignalSpy urls{&instance, &SingleInstance::urlReceived};

    SingleInstance::Role start() { return instance.start(lock, {}); }
    QStringList receivedUrls() const
    {
        QStringList list;
        for (const QList<QVariant> &signal : urls)
            list.append(signal.at(0).toUrl().toString(QUrl::FullyEncoded));
        return list;
    }
    qsizetype openConnections() const { return instance.findChildren<QLocalSocket *>().size(); }
};

// A later launch, on a thread as it would be in a process of its own: the running app answers
// on this thread's event loop while the test waits.
SingleInstance::Role launchLater(const QStringList &arguments)
{
    std::future<SingleInstance::Role> later = std::async(std::launch::async, [arguments] {
        InstanceLock lock;
        return SingleInstance().start(lock, arguments);
    });
    if (!QTest::qWaitFor([&] { return later.wait_for(0s) == std::future_status::ready; }, 10000))
        qFatal("A later launch did not end");
    return later.get();
}

QByteArray header(quint32 length)
{
    QByteArray bytes(InstanceMessage::magic);
    bytes.resize(InstanceMessage::headerSize);
    qToBigEndian(length, bytes.data() + 4);
    return bytes;
}

std::unique_ptr<QLocalSocket> connectRaw()
{
    auto socket = std::make_unique<QLocalSocket>();
    socket->connectToServer(SingleInstance::serverName());
    socket->waitForConnected(5000);
    return socket;
}

} // namespace

class TestSingleInstance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handsOverToTheRunningApp_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("urls");
        QTest::newRow("links among other arguments")
            << QStringList{"--some-option", "ondel://auth?token=abc", "/home/me/notes.txt", "https://example.com/?token=x",
                           "ondel://callback?code=1&state=2"}
            << QStringList{"ondel://auth?token=abc", "ondel://callback?code=1&state=2"};
        QTest::newRow("an argument too long to travel")
            << QStringList{QString(InstanceMessage::maxPayload, QLatin1Char('x')), "ondel://auth?token=abc"}
            << QStringList{"ondel://auth?token=abc"};
        QTest::newRow("not ASCII") << QStringList{"Ghi chú cuộc họp", "ondel://auth?token=%C3%A7a"}
                                   << QStringList{"ondel://auth?token=%C3%A7a"};
    }
    void handsOverToTheRunningApp()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, urls);
        RunningApp app;
        QCOMPARE(app.start(), SingleInstance::Role::First);
        QVERIFY(app.instance.isListening());
        const QFile::Permissions others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
        QCOMPARE(QFileInfo(SingleInstance::serverName()).permissions() & others, QFile::Permissions());

        QCOMPARE(launchLater(arguments), SingleInstance::Role::HandedOver);
        QTRY_COMPARE(app.activations.size(), 1);
        QCOMPARE(app.receivedUrls(), urls);
        QTRY_COMPARE(app.openConnections(), 0);
    }

    void dropsMalformedMessages_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("clientHangsUp");
        const QByteArray link("ondel://auth?token=abc");
        const QByteArray message = header(quint32(link.size() + 1)) + link + '\0';
        QTest::newRow("not this protocol") << QByteArray("GET / HTTP/1.1\r\n\r\n") << false;
        QTest::newRow("a byte off the magic") << QByteArray("OND2") + message.mid(4) << false;
        QTest::newRow("one byte over the cap") << header(quint32(InstanceMessage::maxPayload + 1)) << false;
        QTest::newRow("the largest length") << header(0xffffffffu) + QByteArray(4096, 'x') << false;
        QTest::newRow("unterminated argument") << header(3) + "abc" << false;
        QTest::newRow("not UTF-8") << header(4) + QByteArray("\xff\xfe\xfd\0", 4) << false;
        QTest::newRow("cut short, then gone") << message.left(message.size() - 5) << true;
        QTest::newRow("half a header, then gone") << QByteArray("OND1\0", 5) << true;
    }
    void dropsMalformedMessages()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, clientHangsUp);
        RunningApp app;
        QCOMPARE(app.start(), SingleInstance::Role::First);

        std::unique_ptr<QLocalSocket> client = connectRaw();
        QCOMPARE(client->state(), QLocalSocket::ConnectedState);
        client->write(bytes);
        if (clientHangsUp) {
            QTRY_VERIFY(client->bytesToWrite() == 0);
            client->disconnectFromServer();
        }
        QTRY_COMPARE(client->state(), QLocalSocket::UnconnectedState);
        QCOMPARE(client->readAll(), QByteArray()); // no answer
        QTRY_COMPARE(app.openConnections(), 0);
        QCOMPARE(app.activations.size(), 0);
        QCOMPARE(app.urls.size(), 0);

        // The app still answers the next launch.
        QCOMPARE(launchLater({"ondel://auth?token=abc"}), SingleInstance::Role::HandedOver);
        QTRY_COMPARE(app.receivedUrls(), QStringList{"ondel://auth?token=abc"});
    }

    void cutsOffSilentConnections()
    {
        RunningApp app;
        QCOMPARE(app.start(), SingleInstance::Role::First);
        std::vector<std::unique_ptr<QLocalSocket>> silent;
        for (int i = 0; i < SingleInstance::maxConnections + 1; ++i) {
            silent.push_back(connectRaw());
            silent.back()->write("OND");
        }
        // The one over the limit is turned away at once; the others wait for their time.
        QTRY_COMPARE(silent.back()->state(), QLocalSocket::UnconnectedState);
        QTRY_COMPARE(app.openConnections(), SingleInstance::maxConnections);
        app.clock.advance(SingleInstance::idleLimit - 1ms);
        settle();
        QCOMPARE(app.openConnections(), SingleInstance::maxConnections);
        app.clock.advance(1ms);
        QTRY_COMPARE(app.openConnections(), 0);
        for (const auto &socket : silent)
            QTRY_COMPARE(socket->state(), QLocalSocket::UnconnectedState);

        QCOMPARE(launchLater({}), SingleInstance::Role::HandedOver);
        QCOMPARE(app.activations.size(), 1);
    }
};

int main(int argc, char **argv)
{
    TestEnvironment environment;
    qputenv("XDG_RUNTIME_DIR", environment.root().toUtf8()); // the sockets stay in the test's own folder
    QCoreApplication app(argc, argv);
    TestSingleInstance test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_singleinstance.moc"
