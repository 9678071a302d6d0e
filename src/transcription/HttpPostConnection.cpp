#include "HttpPostConnection.h"

#include <QCoreApplication>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTcpSocket>

namespace {

constexpr qsizetype kMaxHeadBytes = 64 * 1024;

bool isTls(const QUrl &url)
{
    return url.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0;
}

quint16 portOf(const QUrl &url)
{
    return quint16(url.port(isTls(url) ? 443 : 80));
}

QString originOf(const QUrl &url)
{
    return url.scheme().toLower() + QLatin1String("://") + url.host().toLower() + QLatin1Char(':') + QString::number(portOf(url));
}

QByteArray requestHead(const QUrl &url, const HttpPostConnection::Headers &headers, qsizetype bodySize)
{
    QByteArray target = url.path(QUrl::FullyEncoded).toLatin1();
    if (target.isEmpty())
        target = "/";
    if (url.hasQuery())
        target += '?' + url.query(QUrl::FullyEncoded).toLatin1();
    QByteArray host = url.host(QUrl::FullyEncoded).toLatin1();
    if (host.contains(':'))
        host = '[' + host + ']'; // an IPv6 address
    if (url.port() != -1)
        host += ':' + QByteArray::number(url.port());

    QByteArray head = "POST " + target + " HTTP/1.1\r\nHost: " + host + "\r\nUser-Agent: Ondel/"
        + QCoreApplication::applicationVersion().toUtf8() + "\r\n";
    for (const auto &[name, value] : headers)
        head += name + ": " + value + "\r\n";
    head += "Content-Length: " + QByteArray::number(bodySize) + "\r\n\r\n";
    return head;
}

} // namespace

HttpPostConnection::HttpPostConnection(QObject *parent)
    : QObject(parent)
{
}

HttpPostConnection::~HttpPostConnection()
{
    dropSocket();
}

void HttpPostConnection::post(const QUrl &url, const Headers &headers, const QByteArray &body, Done done)
{
    m_done = std::move(done);
    m_url = url;
    m_retried = false;
    if (!url.isValid() || url.host().isEmpty()
        || (!isTls(url) && url.scheme().compare(QLatin1String("http"), Qt::CaseInsensitive) != 0)) {
        finish(Response{0, {}, QStringLiteral("Protocol \"%1\" is unknown").arg(url.scheme())});
        return;
    }
    // Head and body in one buffer, so that they leave in as few segments as the path allows.
    const QByteArray head = requestHead(url, headers, body.size());
    m_request.clear();
    m_request.reserve(head.size() + body.size());
    m_request += head;
    m_request += body;

    if (m_socket && m_reusable && m_socket->state() == QAbstractSocket::ConnectedState && m_origin == originOf(url)) {
        m_freshConnection = false;
        send();
    } else {
        connectTo(url);
    }
}

void HttpPostConnection::abort()
{
    m_done = nullptr;
    m_request.clear();
    dropSocket();
}

void HttpPostConnection::connectTo(const QUrl &url)
{
    dropSocket();
    m_origin = originOf(url);
    m_freshConnection = true;

    QAbstractSocket *socket = nullptr;
    QSslSocket *tls = nullptr;
    if (isTls(url)) {
        tls = new QSslSocket(this);
        QSslConfiguration config = tls->sslConfiguration();
        config.setAllowedNextProtocols({QByteArrayLiteral("http/1.1")});
        tls->setSslConfiguration(config);
        socket = tls;
    } else {
        socket = new QTcpSocket(this);
    }
    m_socket = socket;
    // Before the request goes out: the whole point of this class.
    connect(socket, &QAbstractSocket::connected, this, [socket] { socket->setSocketOption(QAbstractSocket::LowDelayOption, 1); });
    if (tls)
        connect(tls, &QSslSocket::encrypted, this, &HttpPostConnection::send);
    else
        connect(socket, &QAbstractSocket::connected, this, &HttpPostConnection::send);
    connect(socket, &QIODevice::readyRead, this, &HttpPostConnection::onReadyRead);
    connect(socket, &QAbstractSocket::errorOccurred, this, [this, socket] {
        if (socket == m_socket)
            onEnded(socket->errorString());
    });
    connect(socket, &QAbstractSocket::disconnected, this, [this, socket] {
        if (socket == m_socket)
            onEnded(QStringLiteral("The remote host closed the connection"));
    });

    if (tls)
        tls->connectToHostEncrypted(url.host(), portOf(url));
    else
        socket->connectToHost(url.host(), portOf(url));
}

void HttpPostConnection::send()
{
    if (!m_done || !m_socket)
        return;
    m_in.clear();
    m_headParsed = false;
    m_body.clear();
    m_reusable = false; // until this answer has been read whole
    m_socket->write(m_request);
}

void HttpPostConnection::onReadyRead()
{
    if (!m_socket)
        return;
    m_in += m_socket->readAll();
    if (!m_done) {
        dropSocket(); // bytes nobody asked for: this connection is out of step
        return;
    }
    if (!m_headParsed && !parseHead())
        return;
    switch (m_bodyKind) {
    case Body::None:
        break;
    case Body::Length: {
        const qsizetype take = qsizetype(qMin<qint64>(m_remaining, m_in.size()));
        m_body += QByteArrayView(m_in).first(take);
        m_in.remove(0, take);
        m_remaining -= take;
        if (m_remaining > 0)
            return;
        break;
    }
    case Body::Chunked:
        if (!parseChunks())
            return;
        break;
    case Body::UntilClose:
        m_body += m_in;
        m_in.clear();
        return; // complete when the server closes
    }
    finish(Response{m_status, m_body, {}});
}

void HttpPostConnection::onEnded(const QString &why)
{
    if (!m_done) {
        dropSocket(); // an idle connection the server closed
        return;
    }
    if (m_socket && m_socket->bytesAvailable() > 0) {
        onReadyRead();
        if (!m_done)
            return;
    }
    if (m_headParsed && m_bodyKind == Body::UntilClose) {
        m_body += m_in;
        m_in.clear();
        dropSocket();
        finish(Response{m_status, m_body, {}});
        return;
    }
    // A kept-alive connection that the server had closed before it read this request: once
    // more on a new one, as every HTTP client does.
    if (!m_freshConnection && !m_retried && !m_headParsed && m_in.isEmpty()) {
        m_retried = true;
        connectTo(m_url);
        return;
    }
    dropSocket();
    finish(Response{0, {}, why});
}

bool HttpPostConnection::parseHead()
{
    for (;;) {
        const qsizetype end = m_in.indexOf("\r\n\r\n");
        if (end < 0) {
            if (m_in.size() > kMaxHeadBytes) {
                dropSocket();
                finish(Response{0, {}, QStringLiteral("The server's answer could not be read")});
            }
            return false;
        }
        const QList<QByteArray> lines = m_in.left(end).split('\n');
        m_in.remove(0, end + 4);

        const QList<QByteArray> statusLine = lines.first().trimmed().split(' ');
        bool ok = false;
        const int status = statusLine.value(1).toInt(&ok);
        if (!statusLine.first().startsWith("HTTP/1.") || !ok || status < 100) {
            dropSocket();
            finish(Response{0, {}, QStringLiteral("The server's answer could not be read")});
            return false;
        }
        if (status < 200)
            continue; // an interim answer; the real one follows

        m_status = status;
        m_keepAlive = statusLine.first() == "HTTP/1.1";
        bool chunked = false;
        qint64 length = -1;
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const QByteArray &line = lines.at(i);
            const qsizetype colon = line.indexOf(':');
            if (colon <= 0)
                continue;
            const QByteArray name = line.left(colon).trimmed().toLower();
            const QByteArray value = line.mid(colon + 1).trimmed().toLower();
            if (name == "connection")
                m_keepAlive = value.contains("keep-alive") || (m_keepAlive && !value.contains("close"));
            else if (name == "transfer-encoding")
                chunked = value.endsWith("chunked");
            else if (name == "content-length")
                length = value.toLongLong(&ok);
        }
        if (status == 204 || status == 304 || (!chunked && length == 0)) {
            m_bodyKind = Body::None;
        } else if (chunked) {
            m_bodyKind = Body::Chunked;
            m_chunkState = ChunkState::Size;
        } else if (length > 0) {
            m_bodyKind = Body::Length;
            m_remaining = length;
        } else {
            m_bodyKind = Body::UntilClose;
            m_keepAlive = false;
        }
        m_headParsed = true;
        return true;
    }
}

bool HttpPostConnection::parseChunks()
{
    for (;;) {
        switch (m_chunkState) {
        case ChunkState::Data: {
            const qsizetype take = qsizetype(qMin<qint64>(m_remaining, m_in.size()));
            m_body += QByteArrayView(m_in).first(take);
            m_in.remove(0, take);
            m_remaining -= take;
            if (m_remaining > 0)
                return false;
            m_chunkState = ChunkState::DataEnd;
            break;
        }
        case ChunkState::DataEnd:
            if (m_in.size() < 2)
                return false;
            m_in.remove(0, 2);
            m_chunkState = ChunkState::Size;
            break;
        case ChunkState::Size:
        case ChunkState::Trailer: {
            const qsizetype end = m_in.indexOf("\r\n");
            if (end < 0)
                return false;
            const QByteArray line = m_in.left(end);
            m_in.remove(0, end + 2);
            if (m_chunkState == ChunkState::Trailer) {
                if (line.isEmpty())
                    return true;
                break;
            }
            bool ok = false;
            const qsizetype extension = line.indexOf(';');
            const qint64 size = (extension < 0 ? line : line.left(extension)).trimmed().toLongLong(&ok, 16);
            if (!ok || size < 0) {
                dropSocket();
                finish(Response{0, {}, QStringLiteral("The server's answer could not be read")});
                return false;
            }
            m_remaining = size;
            m_chunkState = size == 0 ? ChunkState::Trailer : ChunkState::Data;
            break;
        }
        }
    }
}

void HttpPostConnection::finish(Response response)
{
    // Another request may be sent from `done`: everything of this one is cleared first.
    if (m_socket && m_keepAlive && m_in.isEmpty())
        m_reusable = true;
    else
        dropSocket();
    Done done = std::move(m_done);
    m_done = nullptr;
    m_request.clear();
    m_body.clear();
    m_in.clear();
    m_headParsed = false;
    if (done)
        done(response);
}

void HttpPostConnection::dropSocket()
{
    m_reusable = false;
    m_origin.clear();
    if (QAbstractSocket *socket = m_socket) {
        m_socket = nullptr;
        socket->disconnect(this);
        socket->abort();
        socket->deleteLater();
    }
}
