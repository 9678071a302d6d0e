#include "Pkce.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <vector>

namespace {

QString urlSafe(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

} // namespace

QString Pkce::randomURLSafe(int bytes)
{
    std::vector<quint32> words((bytes + 3) / 4);
    QRandomGenerator::system()->fillRange(words.data(), qsizetype(words.size()));
    return urlSafe(QByteArray(reinterpret_cast<const char *>(words.data()), bytes));
}

QString Pkce::challenge(const QString &verifier)
{
    return urlSafe(QCryptographicHash::hash(verifier.toUtf8(), QCryptographicHash::Sha256));
}
