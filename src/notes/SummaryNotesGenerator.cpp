#include "SummaryNotesGenerator.h"

#include "SummaryGenerator.h"
#include "SummaryPrompts.h"

#include <QPointer>

SummaryNotesGenerator::SummaryNotesGenerator(Clock &clock, QNetworkAccessManager &network)
    : m_clock(clock)
    , m_network(network)
{
}

void SummaryNotesGenerator::generate(const ModelCredentials &credentials, const Meeting &meeting, const QString &transcript,
                                     QObject *context, std::function<void(const NotesResult &)> done)
{
    struct Job
    {
        std::optional<SummaryResult<std::optional<QString>>> title;
        std::optional<SummaryResult<QString>> notes;
        bool settled = false;
    };
    auto job = std::make_shared<Job>();
    auto *generator = new SummaryGenerator(credentials, m_clock, m_network);
    const QPointer<SummaryGenerator> generatorGuard(generator);
    const QPointer<QObject> target(context);

    auto deliver = [generatorGuard, target, hasTarget = context != nullptr, done](const NotesResult &result) {
        if (SummaryGenerator *g = generatorGuard.data()) {
            g->cancel();
            g->deleteLater();
        }
        if (!hasTarget) {
            done(result);
            return;
        }
        if (QObject *t = target.data())
            QMetaObject::invokeMethod(t, [done, result] { done(result); });
    };
    // The title is awaited first: a notes outcome waits for it, and a failed title decides.
    auto settle = [job, deliver] {
        if (job->settled || !job->title)
            return;
        if (!job->title->ok()) {
            job->settled = true;
            deliver(NotesResult{std::nullopt, {}, job->title->error->description()});
            return;
        }
        if (!job->notes)
            return;
        job->settled = true;
        if (!job->notes->ok())
            deliver(NotesResult{std::nullopt, {}, job->notes->error->description()});
        else
            deliver(NotesResult{job->title->value, job->notes->value, {}});
    };

    if (context) {
        QObject::connect(context, &QObject::destroyed, generator, [generator] {
            generator->cancel();
            generator->deleteLater();
        });
    }
    generator->generateTitle(transcript, [job, settle](const SummaryResult<std::optional<QString>> &title) {
        job->title = title;
        settle();
    });
    generator->generateSummary(transcript, meeting.userNotes, SummaryPrompts::calendarContext(meeting),
                               [job, settle](const SummaryResult<QString> &notes) {
                                   job->notes = notes;
                                   settle();
                               });
}
