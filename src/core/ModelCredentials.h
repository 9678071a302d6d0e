#pragma once

#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

class QObject;

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
    // False while the stored credentials are still being read: no answer above is final yet.
    virtual bool credentialsKnown() const { return true; }
    // Runs `then` on this thread once they are known (at once if they are), unless `context` is gone.
    virtual void whenCredentialsKnown(QObject * /*context*/, std::function<void()> then) { then(); }
};
