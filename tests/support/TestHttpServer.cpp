#include "TestHttpServer.h"

#include <QHostAddress>

namespace {

QByteArray reason(int status)
{
    static const QHash<int, QByteArray> reasons{
        {200, "OK"}, {201, "Created"}, {204, "No Content"}, {400, "Bad Request"}, {401, "Unauthorized"},
        {402, "Payment Required"}, {403, "Forbidden"}, {404, "Not Found"}, {429, "Too Many Requests"},
        {500, "Internal Server Error"}, {502, "Bad Gateway"}, {503, "Service Unavailable"}};
    return reasons.value(status, "Status");
}

// The status line and the headers, without the blank line that ends them.
QByteArray head(int status, const QList<QPair<QByteArray, QByteArray>> &headers)
{
    QByteArray out = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason(status) + "\r\n";
    for (const auto &[name, value] : headers)
        out += name + ": " + value + "\r\n";
    return out;
}

} // namespace

TestHttpServer::Reply TestHttpServer::Reply::json(const QByteArray &body, int status)
{
    return Reply{status, {{"Content-Type", "application/json"}}, body};
}

TestHttpServer::Reply TestHttpServer::Reply::text(const QByteArray &body, int status)
{
    return Reply{status, {{"Content-Type", "text/plain"}}, body};
}

TestHttpServer::TestHttpServer(QObject *parent)
    : QObject(parent)
{
    m_handler = [](const Request &) { return Reply::json("{}"); };
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
            connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
                m_buffers.remove(socket);
                socket->deleteLater();
            });
        }
    });
    m_server.listen(QHostAddress::LocalHost, 0);
}

TestHttpServer::~TestHttpServer()
{
    // Connections a client kept alive end with the server, after the members their handlers use.
    const QList<QTcpSocket *> sockets = m_server.findChildren<QTcpSocket *>();
    for (QTcpSocket *socket : sockets)
        socket->disconnect(this);
    m_server.close();
}

QUrl TestHttpServer::url() const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(m_server.serverPort()));
}

QUrl TestHttpServer::unreachableUrl()
{
    // A port the system just handed out and took back stays unused for a while.
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const quint16 port = probe.serverPort();
    probe.close();
    return QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(port));
}

void TestHttpServer::setHandler(Handler handler)
{
    m_handler = std::move(handler);
}

void TestHttpServer::onReadyRead(QTcpSocket *socket)
{
    QByteArray &buffer = m_buffers[socket];
    buffer += socket->readAll();
    for (;;) {
        const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
        if (headEnd < 0)
            return;
        Request request;
        const QList<QByteArray> lines = buffer.left(headEnd).split('\n');
        const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
        request.method = requestLine.value(0);
        request.target = requestLine.value(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const QByteArray line = lines.at(i).trimmed();
            const qsizetype colon = line.indexOf(':');
            if (colon > 0)
                request.headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
        }
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (buffer.size() < headEnd + 4 + length)
            return; // the body is still on its way
        request.body = buffer.mid(headEnd + 4, length);
        request.raw = buffer.left(headEnd + 4 + length);
        buffer.remove(0, headEnd + 4 + length);

        const int index = int(m_requests.size());
        m_requests.append(request);
        const Reply reply = m_handler(request);
        if (reply.hold) {
            m_held.insert(index, socket);
        } else {
            socket->write(head(reply.status, reply.headers) + "Content-Length: " + QByteArray::number(reply.body.size()) + "\r\n\r\n"
                          + reply.body);
        }
        Q_EMIT requestReceived(index);
    }
}

void TestHttpServer::write(int requestIndex, const QByteArray &bytes)
{
    if (QTcpSocket *socket = m_held.value(requestIndex)) {
        socket->write(bytes);
        socket->flush();
    }
}

void TestHttpServer::writeHead(int requestIndex, int status, const QList<QPair<QByteArray, QByteArray>> &headers)
{
    write(requestIndex, head(status, headers) + "Connection: close\r\n\r\n");
}

void TestHttpServer::close(int requestIndex)
{
    if (QTcpSocket *socket = m_held.take(requestIndex)) {
        socket->flush();
        socket->disconnectFromHost();
    }
}
