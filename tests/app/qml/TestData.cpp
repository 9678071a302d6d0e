#include "TestData.h"

#include "AccountService.h"
#include "AppShell.h"
#include "ArchiveRecovery.h"
#include "AudioRecorder.h"
#include "PulseServer.h"
#include "MeetingArchiver.h"
#include "MeetingImporter.h"
#include "NotesPublisher.h"
#include "OndelStore.h"
#include "SessionDoubles.h"
#include "UtteranceSpool.h"
#include "Uuid.h"
#include "WavFile.h"

#include <QDirIterator>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QQuickWindow>
#include <QUrlQuery>

using Reply = TestHttpServer::Reply;

namespace {
QUuid idOf(const QString &text)
{
    return parseUuid(text).value_or(QUuid());
}
} // namespace

TestData::TestData(OndelStore &store, Settings &settings, FakeClock &clock, FakeCredentials &credentials,
                   MeetingArchiver &archiver, StubPublisher &publisher, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_settings(settings)
    , m_clock(clock)
    , m_credentials(credentials)
    , m_archiver(archiver)
    , m_models(std::make_unique<TestHttpServer>())
    , m_publisher(publisher)
{
    // Chat answers stream and are held; anything else (notes, titles) fails at once.
    m_models->setHandler([](const TestHttpServer::Request &request) {
        return request.body.contains("\"stream\":true") ? Reply::held() : Reply::json(R"({"error":{"message":"not here"}})", 500);
    });
    setSignedIn(true);
}

TestData::~TestData() = default;

void TestData::addLine(const QString &meetingId, bool isMe, const QString &text, double at)
{
    TranscriptSegment s(text, isMe ? Speaker::me() : Speaker::them(), at);
    s.meetingId = idOf(meetingId);
    m_store.insert(s);
}

void TestData::addSpooled(const QString &meetingId, int parts)
{
    const QByteArray wav = WavFile::mono16(QByteArray(48000, '\x11'), 24000);
    for (int i = 0; i < parts && m_spool; ++i)
        m_spool->add(idOf(meetingId), i % 2 ? QStringLiteral("Them") : QStringLiteral("Me"), 4.0 * i + 1, wav);
}

void TestData::setField(const QString &meetingId, const QString &field, const QVariant &value)
{
    const QDateTime now = m_clock.now();
    m_store.update(idOf(meetingId), [&](Meeting &m) {
        if (field == QLatin1String("title"))
            m.title = value.toString();
        else if (field == QLatin1String("userNotes"))
            m.userNotes = value.toString();
        else if (field == QLatin1String("summary"))
            m.summary = value.toString().isEmpty() ? std::nullopt : std::optional<QString>(value.toString());
        else if (field == QLatin1String("isRecording"))
            m.isRecording = value.toBool();
        else if (field == QLatin1String("autoStart")) {
            m.scheduledStart = now.addSecs(qint64(value.toDouble() * 60));
            m.autoStartEnabled = true;
        }
    });
}

QVariantMap TestData::meeting(const QString &meetingId) const
{
    const std::optional<Meeting> m = m_store.meeting(idOf(meetingId));
    if (!m)
        return {};
    return {{"title", m->title}, {"titleIsUserEdited", m->titleIsUserEdited}, {"userNotes", m->userNotes},
            {"linkBannerDismissed", m->linkBannerDismissed}};
}

QString TestData::archivedText(const QString &meetingId) const
{
    m_archiver.waitForIdle();
    QDirIterator files(m_archiver.root(), {QStringLiteral("*.md")}, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QString text = QString::fromUtf8(file.readAll());
        if (text.contains(meetingId, Qt::CaseInsensitive))
            return text;
    }
    return {};
}

void TestData::setSignedIn(bool signedIn)
{
    m_publisher.signedIn = signedIn;
    m_credentials.credentials = signedIn ? std::optional(ModelCredentials{m_models->url(), QStringLiteral("token"), true})
                                         : std::nullopt;
}

void TestData::streamPiece(const QString &text)
{
    const int last = m_models->requestCount() - 1;
    if (text.isNull() || last < m_requestBase)
        return;
    if (!m_answerStarted.contains(last)) {
        m_answerStarted.insert(last);
        m_models->writeHead(last, 200, {{"Content-Type", "text/event-stream"}});
    }
    const QByteArray content = QJsonDocument(QJsonObject{{QStringLiteral("content"), text}}).toJson(QJsonDocument::Compact);
    m_models->write(last, R"(data: {"choices":[{"delta":)" + content + "}]}\n\n");
}

void TestData::endAnswer()
{
    const int last = m_models->requestCount() - 1;
    if (last < m_requestBase)
        return;
    m_models->write(last, "data: [DONE]\n\n");
    m_models->close(last);
}

QString TestData::screenshotDir() const
{
    QString dir = qEnvironmentVariable("ONDEL_SCREENSHOT_DIR");
    if (dir.isEmpty())
        dir = QCoreApplication::applicationDirPath() + QStringLiteral("/screenshots");
    QDir().mkpath(dir);
    return dir;
}

void TestData::clear()
{
    m_requestBase = m_models->requestCount();
    m_publisher.count = 0;
    m_publisher.hold = false;
    m_publisher.held.clear();
    for (const Meeting &m : m_store.meetings())
        m_store.removeMeeting(m.id);
    for (const Folder &f : m_store.folders())
        m_store.removeFolder(f.id);
}

QString TestData::addMeeting(const QString &title, double minutesAgo, double durationSeconds, const QStringList &lines,
                             const QString &summary)
{
    Meeting m(title, m_clock.now().addMSecs(qint64(-minutesAgo * 60000)));
    m.duration = durationSeconds;
    if (!summary.isEmpty())
        m.summary = summary;
    if (!m_store.insert(m))
        return {};
    for (qsizetype i = 0; i < lines.size(); ++i)
        addLine(uuidText(m.id), i % 2 == 0, lines.at(i), 3.0 * double(i));
    return uuidText(m.id);
}

QString TestData::addFolder(const QString &name, const QString &icon)
{
    Folder folder(name, icon, QString());
    return m_store.insert(folder) ? uuidText(folder.id) : QString();
}

void TestData::file(const QString &meetingId, const QString &folderId)
{
    m_store.update(idOf(meetingId), [&](Meeting &m) { m.folderId = parseUuid(folderId); });
}

QString TestData::folderOf(const QString &meetingId) const
{
    const std::optional<Meeting> m = m_store.meeting(idOf(meetingId));
    return m && m->folderId ? uuidText(*m->folderId) : QString();
}

QStringList TestData::folderNames() const
{
    QStringList names;
    for (const Folder &f : m_store.folders())
        names.append(f.name);
    return names;
}

void TestData::putRecoveryFiles(int count)
{
    QDir folder(MeetingImporter::recoveryFolder());
    folder.removeRecursively();
    folder.mkpath(QStringLiteral("."));
    for (int i = 0; i < count; ++i) {
        QFile file(folder.filePath(QStringLiteral("%1.md").arg(i)));
        if (file.open(QIODevice::WriteOnly))
            file.write(QStringLiteral("---\ntitle: Recovered %1\ndate: 2026-11-%2T09:00:00Z\n---\n## Transcript\n[00:01] **Speaker A:** hello\n")
                           .arg(i).arg(1 + i % 19, 2, 10, QLatin1Char('0')).toUtf8());
    }
}

void TestData::startRecovery()
{
    AppShell::current()->recovery()->start();
}

bool TestData::saveScreenshot(QObject *window, const QString &name) const
{
    auto *quickWindow = qobject_cast<QQuickWindow *>(window);
    if (!quickWindow)
        return false;
    const QImage image = quickWindow->grabWindow();
    return !image.isNull() && image.save(screenshotDir() + QLatin1Char('/') + name + QStringLiteral(".png"));
}

bool TestData::recordMicFrom(const QString &source)
{
    if (!m_sound || !m_mic)
        return false;
    if (source.isEmpty()) {
        m_mic->stop();
        return !m_sound->pactl({QStringLiteral("set-default-source"), QStringLiteral("mic")}).isNull();
    }
    return !m_mic->start() && !m_sound->pactl({QStringLiteral("set-default-source"), source}).isNull();
}

bool TestData::connectMicrophone(bool connected)
{
    if (!m_sound)
        return false;
    if (!connected)
        return !m_sound->pactl({QStringLiteral("unload-module"), QStringLiteral("module-remap-source")}).isNull();
    if (m_sound->pactl({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("sources")}).contains(QLatin1String("\tmic\t")))
        return true;
    return !m_sound->pactl({QStringLiteral("load-module"), QStringLiteral("module-remap-source"), QStringLiteral("master=mic_feed.monitor"),
                            QStringLiteral("source_name=mic")}).isNull()
        && !m_sound->pactl({QStringLiteral("set-default-source"), QStringLiteral("mic")}).isNull();
}

bool TestData::connectSpeakers(bool connected)
{
    if (!m_sound)
        return false;
    if (!connected)
        return !m_sound->pactl({QStringLiteral("unload-module"), QStringLiteral("module-null-sink")}).isNull();
    const QString sinks = m_sound->pactl({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("sinks")});
    for (const char *sink : {"speakers", "mic_feed"}) {
        if (!sinks.contains(QLatin1Char('\t') + QLatin1String(sink) + QLatin1Char('\t'))
            && m_sound->pactl({QStringLiteral("load-module"), QStringLiteral("module-null-sink"), QStringLiteral("sink_name=") + QLatin1String(sink)}).isNull())
            return false;
    }
    return !m_sound->pactl({QStringLiteral("set-default-sink"), QStringLiteral("speakers")}).isNull() && connectMicrophone(true);
}

void TestData::openLink(const QString &url)
{
    if (m_account)
        m_account->handleOpenURL(QUrl(url));
}

void TestData::useAccount(AccountService &account)
{
    m_account = &account;
    setUsage(12, 60);
    m_cloud = std::make_unique<TestHttpServer>();
    m_cloud->setHandler([this](const TestHttpServer::Request &request) {
        const QByteArray path = request.target.split('?').constFirst();
        const QJsonObject body = QJsonDocument::fromJson(request.body).object();
        const QByteArray balance = m_gatewayBalance.isNull() ? QByteArray() : ",\"balance\":" + QByteArray::number(m_gatewayBalance.toDouble());
        if (path == "/v1/auth/request" || path == "/v1/auth/signout")
            return Reply::json("{}");
        // A code, or the token of an emailed link.
        const bool byLink = body.value(QStringLiteral("token")).toString() == QLatin1String("link-of-the-test");
        if (path == "/v1/auth/verify" && body.value(QStringLiteral("code")).toString() != QLatin1String("123456") && !byLink)
            return Reply::json(R"({"error":{"code":"invalid_code","message":"That code isn't right."}})", 400);
        if (path == "/v1/auth/verify")
            return Reply::json(R"({"sessionToken":"session-of-the-test","userId":"u1","email":")"
                               + (byLink ? QByteArray("ana@example.com") : body.value(QStringLiteral("email")).toString().toUtf8()) + "\"}");
        if (path == "/v1/me") {
            QJsonObject usage = QJsonObject::fromVariantMap(m_usage);
            usage.insert(QStringLiteral("resetsAt"), 0);
            return Reply::json(R"({"userId":"u1","email":"ana@example.com","emailOptIn":false,"config":{"quotaMinutes":60,)"
                               R"("analyticsEnabled":false,"analyticsFree":false},"usage":)" + QJsonDocument(usage).toJson(QJsonDocument::Compact) + "}");
        }
        if (path == "/v1/auth/token")
            return Reply::json(R"({"api_key":"vr-gateway-of-the-test","email":"gate@example.com")" + balance + "}");
        if (path == "/v1/credits/balance" && !balance.isEmpty())
            return Reply::json("{" + balance.mid(1) + "}");
        return Reply::json(R"({"error":{"code":"not_found","message":"Not here"}})", 404);
    });
    const QString origin = m_cloud->url().toString();
    m_settings.setOndelCloudBase(origin);
    m_settings.setVrelWebBase(origin);

    // The browser signs the user in and sends them back with the state it was given. The
    // account outlives this object.
    const QPointer<TestData> self(this);
    const auto wait = [self](VrelOAuth::CallbackReceiver receiver) {
        if (self)
            self->m_browserCallback = std::move(receiver);
    };
    account.oauth().setCallbackRoute({wait, [wait] { wait(nullptr); }});
    account.oauth().setUrlOpener([self](const QUrl &url) {
        const QString state = QUrlQuery(url).queryItemValue(QStringLiteral("state"));
        if (!self || self->m_holdBrowser)
            return bool(self);
        QMetaObject::invokeMethod(self, [self, state] {
            if (auto callback = std::exchange(self->m_browserCallback, nullptr))
                callback(QUrl(QStringLiteral("ondel://callback?code=browser-code&state=") + state));
        }, Qt::QueuedConnection);
        return true;
    });
}

void TestData::setUsage(double minutesUsed, double quotaMinutes, bool unlimited)
{
    m_usage = {{"minutesUsed", minutesUsed}, {"quotaMinutes", quotaMinutes}, {"unlimited", unlimited}};
}

int TestData::cloudRequestCount(const QString &path) const
{
    int count = 0;
    for (const TestHttpServer::Request &request : m_cloud->requests())
        count += request.target.split('?').constFirst() == path.toUtf8();
    return count;
}
