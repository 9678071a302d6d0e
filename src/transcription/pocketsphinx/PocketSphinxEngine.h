#pragma once

#include "LiveDraft.h"
#include "PocketSphinxDecoder.h"

class Clock;

// The live draft on Linux: PocketSphinx through its library, with Debian's English model. There
// is no permission to ask for; it is available, and authorised, when the model is installed.
class PocketSphinxEngine final : public LiveDraftEngine
{
public:
    explicit PocketSphinxEngine(Clock &clock, const PocketSphinxModel &model = PocketSphinxModel::english());

    bool isAvailable() const override;
    void authorize(QObject *context, std::function<void(bool authorized)> answer) override;
    std::unique_ptr<LiveDraftRecognizer> makeRecognizer(double sampleRate) override;

private:
    Clock &m_clock;
    PocketSphinxModel m_model;
};
