#pragma once

#include <QString>

#include <functional>
#include <optional>

class QObject;

// The program's secrets by account name, in the desktop's keyring (the Secret Service, through
// QtKeychain) under one service name. Where no keyring answers on the session bus, their
// stand-in is a file in the data folder that only the user can read (`SecretFile`); a keyring
// that answers later takes each secret over from the file as it is read. Never the settings.
//
// All work runs on the keychain's own thread, one call after another in the order asked, where
// the keyring is asked and the file is read and written. `set`, `string` and `remove` wait for
// it (any thread but its own may call them); `setLater`, `removeLater` and the calls with a
// `then` return at once, for the main thread, and the exit waits for them. A `then` runs on the
// main thread, unless its context is gone by then. A failed write is logged, and the caller keeps
// the value in memory for this run; a failed read looks just like an absent item.
class Keychain
{
public:
    static constexpr auto service = "com.tarnwyk.ondel";

    static bool set(const QString &value, const QString &account);
    static std::optional<QString> string(const QString &account);
    // Whether there was anything to delete is not looked at.
    static void remove(const QString &account);
    static void setLater(const QString &value, const QString &account);
    static void removeLater(const QString &account);
    static void setLater(const QString &value, const QString &account, QObject *context, std::function<void(bool stored)> then);
    static void stringLater(const QString &account, QObject *context, std::function<void(const std::optional<QString> &value)> then);
    // Whether the last call found no keyring, and so used the file; `KeychainStatus` tells of changes.
    static bool usesFile();
};
