#include "CloudError.h"

CloudError CloudError::httpStatus(int status)
{
    return api(QStringLiteral("http_%1").arg(status), QStringLiteral("Ondel Cloud error (%1)").arg(status), status);
}

QString CloudError::description() const
{
    switch (kind) {
    case Kind::Api:
    case Kind::Network:
        return message;
    case Kind::Malformed:
        break;
    }
    return QStringLiteral("Unexpected response from Ondel Cloud");
}
