#pragma once

#include <QString>

#include <cstdint>
#include <memory>
#include <span>

// Where PocketSphinx's acoustic model, language model and dictionary lie.
struct PocketSphinxModel
{
    QString acousticModel;
    QString languageModel;
    QString dictionary;

    // Debian's US English model (pocketsphinx-en-us).
    static PocketSphinxModel english(const QString &folder = QStringLiteral("/usr/share/pocketsphinx/model/en-us"));
    bool isInstalled() const;
};

// One PocketSphinx decoder in this process, fed 16 kHz 16-bit mono. Speech is cut at the
// library's own silence detection: each stretch of speech is one utterance, whose best guess so
// far `hypothesis()` gives at any time. One thread at a time.
class PocketSphinxDecoder
{
public:
    static constexpr int sampleRate = 16000;

    // Null when the model cannot be loaded. Takes a second or so: never on the main thread.
    static std::unique_ptr<PocketSphinxDecoder> load(const PocketSphinxModel &model);
    ~PocketSphinxDecoder();

    struct Progress
    {
        QString hypothesis; // the current utterance's words so far
        bool utteranceEnded = false; // silence closed it; the next speech starts a new one
    };
    Progress process(std::span<const std::int16_t> samples);
    // Ends the utterance without a result and begins a new one.
    void restart();

private:
    struct Handles;
    explicit PocketSphinxDecoder(std::unique_ptr<Handles> handles);
    std::unique_ptr<Handles> m;
    bool m_inUtterance = false;
};
