#pragma once

#include "Clock.h"
#include "NotesGenerator.h"

class QNetworkAccessManager;

// The session's notes step on the real model: one SummaryGenerator per meeting, title and notes
// requested side by side. The title is awaited first (its failure wins); a failure of either
// fails the whole, and the other request is dropped.
class SummaryNotesGenerator final : public NotesGenerator
{
public:
    SummaryNotesGenerator(Clock &clock, QNetworkAccessManager &network);

    // Runs on the thread of the network manager; `done` runs on `context`'s thread, and not at
    // all if `context` is gone by then (its end also drops the requests).
    void generate(const ModelCredentials &credentials, const Meeting &meeting, const QString &transcript, QObject *context,
                  std::function<void(const NotesResult &)> done) override;

private:
    Clock &m_clock;
    QNetworkAccessManager &m_network;
};
