#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <functional>

class QAbstractSocket;

// One kept-alive HTTP/1.1 connection for POSTs, one at a time, with Nagle's algorithm off and
// each request handed to the kernel in one write. Qt's HTTP client can do neither: it writes an
// upload in 16 KB pieces on a socket with Nagle on, so the last piece waits for the server's
// delayed acknowledgement (some 40 ms per utterance). Lives on one thread and is used there only.
class HttpPostConnection : public QObject
{
public:
    struct Response
    {
        int status = 0; // 0: no HTTP answer; `error` says why
        QByteArray body;
        QString error;
    };
    using Headers = QList<QPair<QByteArray, QByteArray>>;
    using Done = std::function<void(const Response &response)>;

    explicit HttpPostConnection(QObject *parent = nullptr);
    ~HttpPostConnection() override;

    // `done` is called exactly once, unless abort() comes first. An http or https URL.
    void post(const QUrl &url, const Headers &headers, const QByteArray &body, Done done);
    // Drops the exchange in flight and its connection; its `done` is never called.
    void abort();

private:
    enum class Body { None, Length, Chunked, UntilClose };
    enum class ChunkState { Size, Data, DataEnd, Trailer };

    void connectTo(const QUrl &url);
    void send();
    void onReadyRead();
    void onEnded(const QString &why);
    bool parseHead();
    bool parseChunks();
    void finish(Response response);
    void dropSocket();

    QPointer<QAbstractSocket> m_socket;
    QString m_origin; // scheme, host and port of the open connection
    bool m_reusable = false;

    // The exchange in flight.
    Done m_done;
    QUrl m_url;
    QByteArray m_request;
    bool m_freshConnection = false;
    bool m_retried = false;
    QByteArray m_in; // received and not yet taken
    bool m_headParsed = false;
    int m_status = 0;
    bool m_keepAlive = false;
    Body m_bodyKind = Body::None;
    ChunkState m_chunkState = ChunkState::Size;
    qint64 m_remaining = 0; // bytes still to come of the body (Length) or of the chunk (Chunked)
    QByteArray m_body;
};
