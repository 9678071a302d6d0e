#include "KeychainStatus.h"

KeychainStatus &KeychainStatus::instance()
{
    // Never deleted: calls may still finish on the keychain's thread while the process ends.
    static KeychainStatus *status = new KeychainStatus;
    return *status;
}

void KeychainStatus::setUsesFile(bool usesFile)
{
    if (m_usesFile.exchange(usesFile) != usesFile)
        Q_EMIT usesFileChanged(usesFile);
}
