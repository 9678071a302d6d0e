#include "PocketSphinxEngine.h"

#include "PocketSphinxRecognizer.h"

#include <QMetaObject>

PocketSphinxEngine::PocketSphinxEngine(Clock &clock, const PocketSphinxModel &model)
    : m_clock(clock), m_model(model)
{
}

bool PocketSphinxEngine::isAvailable() const
{
    return m_model.isInstalled();
}

void PocketSphinxEngine::authorize(QObject *context, std::function<void(bool)> answer)
{
    // Answered later, as a platform's permission would be, so that callers see one behaviour.
    QMetaObject::invokeMethod(context, [answer = std::move(answer), ok = isAvailable()] { answer(ok); }, Qt::QueuedConnection);
}

std::unique_ptr<LiveDraftRecognizer> PocketSphinxEngine::makeRecognizer(double sampleRate)
{
    return std::make_unique<PocketSphinxRecognizer>(m_model, m_clock, sampleRate);
}
