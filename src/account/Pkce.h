#pragma once

#include <QString>

// The pieces of an authorization-code flow with PKCE for a public client.
class Pkce
{
public:
    // `bytes` from the system's secure random source in URL-safe base64 without padding:
    // 64 bytes make 86 characters, 32 make 43.
    static QString randomURLSafe(int bytes);
    // The S256 challenge of a verifier: its SHA-256 in the same encoding, 43 characters.
    static QString challenge(const QString &verifier);
};
