#pragma once

#include <QString>

#include <optional>

// Why a call to the Ondel cloud failed. description() is what the user reads.
struct CloudError
{
    enum class Kind {
        Api, // the server refused: a status outside 200 to 299
        Network, // no answer at all: no connection, a broken one, a time-out
        Malformed, // not HTTP, or a successful body that does not decode
    };

    Kind kind = Kind::Malformed;
    QString code; // Api: the server's word, or "http_" and the status
    QString message; // Api: the server's text; Network: the transport's description
    int status = 0; // Api

    static CloudError api(const QString &code, const QString &message, int status) { return {Kind::Api, code, message, status}; }
    static CloudError network(const QString &description) { return {Kind::Network, {}, description, 0}; }
    static CloudError malformed() { return {}; }
    // A refusal whose body is not the server's error record.
    static CloudError httpStatus(int status);

    QString description() const;

    bool operator==(const CloudError &) const = default;
};

// The outcome of a cloud call: a value, or the error that stopped it.
template<typename T>
struct CloudResult
{
    T value{};
    std::optional<CloudError> error;

    bool ok() const { return !error; }
    static CloudResult success(T v) { return {std::move(v), std::nullopt}; }
    static CloudResult failure(const CloudError &e) { return {T{}, e}; }
};
