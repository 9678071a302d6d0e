#pragma once

#include <QString>
#include <QUrl>

#include <optional>

// Where a model is reached and with what token.
struct ModelCredentials
{
    QUrl baseURL;
    QString token;
    // The call counts against the cloud account's monthly minutes.
    bool viaAccount = false;

    bool operator==(const ModelCredentials &) const = default;
};

// Answers which credentials a model call uses now (the account service implements it).
class CredentialsSource
{
public:
    virtual ~CredentialsSource() = default;
    virtual std::optional<ModelCredentials> modelCredentials() const = 0;
    virtual bool allowanceExhausted() const = 0;
};
