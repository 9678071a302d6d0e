#include "TranscriptionLanguage.h"

#include "Settings.h"

TranscriptionLanguage::Value TranscriptionLanguage::current(const Settings &settings)
{
    const QString raw = settings.transcriptionLanguage();
    if (raw == QLatin1String("vi"))
        return Vi;
    if (raw == QLatin1String("en"))
        return En;
    return Auto;
}

QString TranscriptionLanguage::rawValue(Value value)
{
    switch (value) {
    case Vi:
        return QStringLiteral("vi");
    case En:
        return QStringLiteral("en");
    case Auto:
        break;
    }
    return QStringLiteral("auto");
}

std::optional<QString> TranscriptionLanguage::code(Value value)
{
    if (value == Auto)
        return std::nullopt;
    return rawValue(value);
}
