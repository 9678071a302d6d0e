#pragma once

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <span>

// Rough on-device text of the phrase being spoken, shown until the real line arrives.
class LiveDraftRecognizer
{
public:
    virtual ~LiveDraftRecognizer() = default;
    virtual void start() = 0;
    virtual void stop() = 0;
    // Capture thread.
    virtual void feed(std::span<const float> samples) = 0;

    std::function<void(const QString &draft)> onDraft;
};

// The on-device speech engine, where the platform has one.
class LiveDraftEngine
{
public:
    virtual ~LiveDraftEngine() = default;
    virtual bool isAvailable() const = 0;
    virtual void authorize(QObject *context, std::function<void(bool authorized)> answer) = 0;
    virtual std::unique_ptr<LiveDraftRecognizer> makeRecognizer(double sampleRate) = 0;
};
