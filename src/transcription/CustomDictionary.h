#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class Settings;

// Words the speech model should favour, kept in the settings in the order of adding and sent
// with every upload as its prompt.
class CustomDictionary
{
public:
    // "Custom vocabulary: Acme, Kubernetes. ", or "" when there are no words; empty strings
    // stored by other means are left out.
    static QString promptFragment(const QStringList &words);
    static QString promptFragment(const Settings &settings);

    // Trimmed; an empty word or one already there (case counts) changes nothing.
    static void add(Settings &settings, const QString &word);
    // An index outside the list changes nothing.
    static void remove(Settings &settings, qsizetype index);

    // The fragment as it stands, readable from any thread; follows every change of the list.
    // Settings are main-thread only, so uploads read this copy instead.
    static std::function<QString()> liveFragment(Settings &settings);
};
