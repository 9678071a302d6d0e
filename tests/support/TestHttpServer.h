#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <functional>

// A real HTTP/1.1 server on 127.0.0.1 for tests: records every request byte for byte and
// answers through a handler. An answer can also be held, and written piece by piece later
// (streams, slow or silent servers). Runs on the thread that made it; the test's event loop
// (QTRY_*, QSignalSpy::wait) drives it.
class TestHttpServer : public QObject
{
    Q_OBJECT

public:
    struct Request
    {
        QByteArray method;
        QByteArray target; // path and query, as sent
        QHash<QByteArray, QByteArray> headers; // names in lower case
        QByteArray body;
        QByteArray raw; // the whole request as received
        QByteArray header(const QByteArray &name) const { return headers.value(name.toLower()); }
    };

    struct Reply
    {
        int status = 200;
        QList<QPair<QByteArray, QByteArray>> headers;
        QByteArray body;
        // Answer nothing now: the exchange stays open for write()/close(), or forever.
        bool hold = false;

        static Reply json(const QByteArray &body, int status = 200);
        static Reply text(const QByteArray &body, int status);
        static Reply held() { Reply r; r.hold = true; return r; }
    };

    using Handler = std::function<Reply(const Request &request)>;

    explicit TestHttpServer(QObject *parent = nullptr);
    ~TestHttpServer() override;

    // The base address, "http://127.0.0.1:<port>/".
    QUrl url() const;
    // A loopback address where nothing listens: a server that is down.
    static QUrl unreachableUrl();
    void setHandler(Handler handler);

    QList<Request> requests() const { return m_requests; }
    int requestCount() const { return int(m_requests.size()); }

    // Held exchanges, by the index of their request.
    void write(int requestIndex, const QByteArray &bytes);
    // Writes a streaming head: status line and headers, no length; the body ends with close().
    void writeHead(int requestIndex, int status, const QList<QPair<QByteArray, QByteArray>> &headers);
    void close(int requestIndex);

Q_SIGNALS:
    void requestReceived(int index);

private:
    void onReadyRead(QTcpSocket *socket);

    QTcpServer m_server;
    Handler m_handler;
    QList<Request> m_requests;
    QHash<QTcpSocket *, QByteArray> m_buffers;
    QHash<int, QPointer<QTcpSocket>> m_held;
};
