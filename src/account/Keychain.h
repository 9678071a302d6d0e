#pragma once

#include <QString>

#include <optional>

// The program's secrets by account name, in the desktop's Secret Service (through QtKeychain)
// under one service name; never in a file of ours, and never with a plain-text fallback.
//
// Synchronous, from any thread but its own: each call waits for the service. A failed write is
// logged and reported as false, and the caller keeps the value in memory for this run; a failed
// read looks just like an absent item.
class Keychain
{
public:
    static constexpr auto service = "com.tarnwyk.ondel";

    static bool set(const QString &value, const QString &account);
    static std::optional<QString> string(const QString &account);
    // Whether there was anything to delete is not looked at.
    static void remove(const QString &account);
};
