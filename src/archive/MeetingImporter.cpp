#include "MeetingImporter.h"

#include "ArchiveRecovery.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

QString MeetingImporter::recoveryFolder()
{
    return QDir::homePath() + QStringLiteral("/OndelNotes");
}

std::optional<QStringList> MeetingImporter::markdownFiles(const QString &folder)
{
    const QFileInfo info(folder);
    if (!info.isDir() || !info.isReadable())
        return std::nullopt;
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString name = it.fileName();
        // The extension after the last dot, so neither ".MD" nor a bare ".md" counts.
        const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
        if (dot > 0 && QStringView(name).mid(dot + 1) == QLatin1String("md"))
            files.append(path);
    }
    return files;
}

int MeetingImporter::runIfNeeded(OndelStore &store, const Clock &clock, const QString &folder)
{
    return ArchiveRecovery(store, clock, folder).runToEnd();
}
