#pragma once

#include <QString>

#include <optional>

// Why a chat-completions call failed. description() is what the user reads.
struct SummaryError
{
    enum class Kind {
        Api, // the server answered with a status other than 200
        InvalidResponse, // the answer was not HTTP
        Parse, // valid JSON without the text where it belongs
        Json, // the body is not JSON
        Transport, // no connection, a broken one, or the like
        TimedOut,
    };

    Kind kind = Kind::InvalidResponse;
    int status = 0; // for Api
    QString message; // Api: the server's text; Json and Transport: the underlying error

    static SummaryError api(int status, const QString &message) { return {Kind::Api, status, message}; }
    static SummaryError of(Kind kind, const QString &message = {}) { return {kind, 0, message}; }

    QString description() const;

    bool operator==(const SummaryError &) const = default;
};

// The outcome of a call: a value, or the error that stopped it.
template<typename T>
struct SummaryResult
{
    T value{};
    std::optional<SummaryError> error;

    bool ok() const { return !error; }
    static SummaryResult success(T v) { return {std::move(v), std::nullopt}; }
    static SummaryResult failure(const SummaryError &e) { return {T{}, e}; }
};
