#pragma once

#include <QString>
#include <QStringList>

#include <optional>

class Settings;

// Which language the speech model should expect. Stored by its raw value; read once at the
// start of each recording.
class TranscriptionLanguage
{
public:
    enum Value { Auto, Vi, En };

    static QStringList allRawValues() { return {QStringLiteral("auto"), QStringLiteral("vi"), QStringLiteral("en")}; }
    // An absent or unknown stored value is Auto.
    static Value current(const Settings &settings);
    static QString rawValue(Value value);
    // The code sent to the model; none for Auto, so that the model detects it.
    static std::optional<QString> code(Value value);
};
