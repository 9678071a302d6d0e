#pragma once

// Stand-ins for the recording session's neighbours, each recording what was asked of it.

#include "AudioRecorder.h"
#include "LiveDraft.h"
#include "MeetingArchive.h"
#include "MicrophonePermission.h"
#include "ModelCredentials.h"
#include "NotesGenerator.h"
#include "SoundCues.h"
#include "Transcriber.h"

#include <QList>
#include <QMetaObject>
#include <QPromise>
#include <QStringList>
#include <QUuid>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

// Plays samples on demand, as if from a capture thread.
class SampleRecorder final : public AudioRecorder
{
public:
    std::optional<RecorderError> start() override
    {
        ++starts;
        if (failure)
            return failure;
        running = true;
        return std::nullopt;
    }
    void stop() override
    {
        ++stops;
        running = false;
    }
    float level() const override { return 0.0f; }
    void play(std::span<const float> samples) { deliver(samples); }

    std::optional<RecorderError> failure;
    bool running = false;
    int starts = 0;
    int stops = 0;
};

// A transcriber whose upload queue the test finishes by hand.
class FakeTranscriber final : public Transcriber
{
public:
    explicit FakeTranscriber(const TranscriberConfig &config)
        : config(config)
    {
        m_tail.start();
        m_tail.finish();
    }

    void connect() override { ++connects; }
    void sendAudio(QByteArrayView chunk) override
    {
        std::lock_guard lock(m_mutex);
        chunks.append(chunk.toByteArray());
    }
    void commitBuffer() override { ++commits; }
    void disconnect() override { ++disconnects; }
    QFuture<void> uploadChain() const override
    {
        std::lock_guard lock(m_mutex);
        return m_tail.future();
    }

    // Until finishUploads(), the queue's tail is pending.
    void holdUploads()
    {
        std::lock_guard lock(m_mutex);
        m_tail = QPromise<void>();
        m_tail.start();
    }
    void finishUploads()
    {
        std::lock_guard lock(m_mutex);
        m_tail.finish();
    }
    void completeLine(const QString &text, double offset) { onTranscriptCompleted(text, offset); }
    void fail(const QString &description) { onError(description); }
    int chunkCount() const
    {
        std::lock_guard lock(m_mutex);
        return int(chunks.size());
    }

    TranscriberConfig config;
    QList<QByteArray> chunks;
    int connects = 0;
    int commits = 0;
    int disconnects = 0;

private:
    mutable std::mutex m_mutex;
    QPromise<void> m_tail;
};

class FakeMicrophonePermission final : public MicrophonePermission
{
public:
    Status status() const override { return current; }
    void requestAccess(QObject *context, std::function<void(bool)> answer) override
    {
        ++requests;
        pending = [context, answer](bool granted) { QMetaObject::invokeMethod(context, [answer, granted] { answer(granted); }); };
    }
    // The user's answer to the dialog.
    void answer(bool granted)
    {
        current = granted ? Status::Authorized : Status::Denied;
        if (auto p = std::exchange(pending, nullptr))
            p(granted);
    }

    Status current = Status::Authorized;
    std::function<void(bool)> pending;
    int requests = 0;
};

class FakeCredentials final : public CredentialsSource
{
public:
    std::optional<ModelCredentials> modelCredentials() const override { return credentials; }
    bool allowanceExhausted() const override { return exhausted; }
    bool credentialsKnown() const override { return known; }
    void whenCredentialsKnown(QObject * /*context*/, std::function<void()> then) override
    {
        if (known)
            then();
        else
            waiting.push_back(std::move(then));
    }
    // The stored keys have been read.
    void becomeKnown()
    {
        known = true;
        for (const std::function<void()> &then : std::exchange(waiting, {}))
            then();
    }

    bool known = true;
    std::vector<std::function<void()>> waiting;
    std::optional<ModelCredentials> credentials = ModelCredentials{QUrl(QStringLiteral("http://127.0.0.1:9/")), QStringLiteral("token"), true};
    bool exhausted = false;
};

// Answers when the test says so.
class FakeNotesGenerator final : public NotesGenerator
{
public:
    void generate(const ModelCredentials &credentials, const Meeting &meeting, const QString &transcript, QObject *context,
                  std::function<void(const NotesResult &)> done) override
    {
        requests.append({meeting.id, transcript, credentials});
        m_done = [context, done](const NotesResult &r) { QMetaObject::invokeMethod(context, [done, r] { done(r); }); };
    }
    void answer(const NotesResult &result)
    {
        if (auto done = std::exchange(m_done, nullptr))
            done(result);
    }

    struct Request
    {
        QUuid meetingId;
        QString transcript;
        ModelCredentials credentials;
    };
    QList<Request> requests;

private:
    std::function<void(const NotesResult &)> m_done;
};

class FakeArchive final : public MeetingArchive
{
public:
    void archive(const QUuid &meetingId) override { archived.append(meetingId); }
    void backfill(const QList<QUuid> &meetingIds) override { backfilled.append(meetingIds); }
    void remove(const QUuid &meetingId) override { removed.append(meetingId); }
    QList<QUuid> archived;
    QList<QList<QUuid>> backfilled;
    QList<QUuid> removed;
};

class FakeSounds final : public SoundCues
{
public:
    void play(Cue cue) override { played.append(cue); }
    QList<Cue> played;
};

class FakeLiveDraftRecognizer final : public LiveDraftRecognizer
{
public:
    void start() override { running = true; }
    void stop() override { running = false; }
    void feed(std::span<const float> samples) override { fed += int(samples.size()); }
    std::atomic<bool> running = false;
    std::atomic<int> fed = 0;
};

class FakeLiveDraftEngine final : public LiveDraftEngine
{
public:
    bool isAvailable() const override { return available; }
    void authorize(QObject *context, std::function<void(bool)> answer) override
    {
        ++authorizations;
        QMetaObject::invokeMethod(context, [answer, ok = authorized] { answer(ok); }, Qt::QueuedConnection);
    }
    std::unique_ptr<LiveDraftRecognizer> makeRecognizer(double) override
    {
        auto r = std::make_unique<FakeLiveDraftRecognizer>();
        made.append(r.get());
        return r;
    }

    bool available = true;
    bool authorized = true;
    int authorizations = 0;
    QList<FakeLiveDraftRecognizer *> made;
};
