#include "ChatModel.h"

#include <QHash>

const QList<ChatModel> &ChatModel::all()
{
    static const QList<ChatModel> models{
        {QStringLiteral("fast"), QStringLiteral("Auto"), QStringLiteral("Recommended")},
        {QStringLiteral("deepseek-v4-flash"), QStringLiteral("DeepSeek V4 Flash"), QStringLiteral("Fastest")},
        {QStringLiteral("gpt-5.6-luna"), QStringLiteral("GPT-5.6 Luna"), QStringLiteral("Fast")},
        {QStringLiteral("kimi-k2.6"), QStringLiteral("Kimi K2.6"), QStringLiteral("Fast, open weight")},
        {QStringLiteral("gemini-3.6-flash"), QStringLiteral("Gemini 3.6 Flash"), QStringLiteral("Long meetings")},
        {QStringLiteral("claude-opus-5"), QStringLiteral("Claude Opus 5"), QStringLiteral("Slowest, deepest")},
    };
    return models;
}

ChatModel ChatModel::named(const QString &id)
{
    for (const ChatModel &model : all()) {
        if (model.id == id)
            return model;
    }
    return all().first();
}

QList<ChatModel> ChatModel::choices()
{
    return all().mid(1);
}

size_t qHash(const ChatModel &model, size_t seed) noexcept
{
    return qHashMulti(seed, model.id, model.name, model.character);
}
