#pragma once

#include <QCoreApplication>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// Gives a test process the ".test" identifier and XDG folders of its own, so that no test can
// reach a user's store, settings or archive. Construct it before anything opens a file.
class TestEnvironment
{
public:
    TestEnvironment();
    ~TestEnvironment();

    QString root() const { return m_root.path(); }
    QString dataHome() const;
    QString configHome() const;

private:
    QTemporaryDir m_root;
    QByteArray m_oldHome, m_oldData, m_oldConfig;
};

// Lets queued work (hand-overs to the main thread) and socket events run.
void settle();

// A file's bytes, or "<missing>".
QByteArray fileBytes(const QString &path);
// Writes a file whole, making its folder first.
void putFile(const QString &path, const QByteArray &bytes);

class QProcess;
// Ends a daemon the test started: asked first, killed if it has not gone within 5 s.
void endProcess(QProcess &process);

// Collects "[Ondel] ..." lines while alive, from any thread, with when each came.
class LogRecorder
{
public:
    LogRecorder();
    ~LogRecorder();

    QStringList lines() const;
    bool contains(const QString &line) const { return lines().contains(line); }
    void clear();
    // Milliseconds since the recorder was made.
    qint64 now() const;
    // When each line matching `pattern` came, of those that came at `since` or later.
    QList<qint64> times(const QString &pattern, qint64 since) const;

private:
    struct State;
    std::shared_ptr<State> m_state;
};

// The main of a test executable: the environment first, then the tests of `TestClass`.
#define ONDEL_TEST_MAIN(TestClass)              \
    int main(int argc, char **argv)             \
    {                                           \
        TestEnvironment environment;            \
        QCoreApplication app(argc, argv);       \
        TestClass test;                         \
        return QTest::qExec(&test, argc, argv); \
    }
