#pragma once

#include "SystemColorScheme.h"

// The desktop's colour scheme as the test sets it: light until told otherwise.
class FakeDesktop final : public SystemColorScheme
{
public:
    bool prefersDark() const override { return dark; }
    void setDark(bool value)
    {
        dark = value;
        Q_EMIT changed();
    }
    bool dark = false;
};
