#include "CustomDictionary.h"

#include "Settings.h"

#include <atomic>
#include <memory>

QString CustomDictionary::promptFragment(const QStringList &words)
{
    QStringList kept;
    for (const QString &word : words) {
        if (!word.isEmpty())
            kept << word;
    }
    if (kept.isEmpty())
        return {};
    return QStringLiteral("Custom vocabulary: ") + kept.join(QStringLiteral(", ")) + QStringLiteral(". ");
}

QString CustomDictionary::promptFragment(const Settings &settings)
{
    return promptFragment(settings.customDictionary());
}

void CustomDictionary::add(Settings &settings, const QString &word)
{
    const QString trimmed = word.trimmed();
    QStringList words = settings.customDictionary();
    if (trimmed.isEmpty() || words.contains(trimmed))
        return;
    words << trimmed;
    settings.setCustomDictionary(words);
}

void CustomDictionary::remove(Settings &settings, qsizetype index)
{
    QStringList words = settings.customDictionary();
    if (index < 0 || index >= words.size())
        return;
    words.removeAt(index);
    settings.setCustomDictionary(words);
}

std::function<QString()> CustomDictionary::liveFragment(Settings &settings)
{
    using Snapshot = std::atomic<std::shared_ptr<const QString>>;
    auto snapshot = std::make_shared<Snapshot>(std::make_shared<const QString>(promptFragment(settings)));
    QObject::connect(&settings, &Settings::customDictionaryChanged, &settings, [snapshot, &settings] {
        snapshot->store(std::make_shared<const QString>(promptFragment(settings)));
    });
    return [snapshot] { return *snapshot->load(); };
}
