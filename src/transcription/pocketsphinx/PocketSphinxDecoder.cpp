#include "PocketSphinxDecoder.h"

#include "Log.h"

#include <QFileInfo>

#include <pocketsphinx.h>
#include <sphinxbase/err.h>

#include <mutex>

PocketSphinxModel PocketSphinxModel::english(const QString &folder)
{
    return {folder + QStringLiteral("/en-us"), folder + QStringLiteral("/en-us.lm.bin"), folder + QStringLiteral("/cmudict-en-us.dict")};
}

bool PocketSphinxModel::isInstalled() const
{
    return QFileInfo(acousticModel).isDir() && QFileInfo(languageModel).isFile() && QFileInfo(dictionary).isFile();
}

struct PocketSphinxDecoder::Handles
{
    cmd_ln_t *config = nullptr;
    ps_decoder_t *decoder = nullptr;
    ~Handles()
    {
        if (decoder)
            ps_free(decoder);
        if (config)
            cmd_ln_free_r(config);
    }
};

std::unique_ptr<PocketSphinxDecoder> PocketSphinxDecoder::load(const PocketSphinxModel &model)
{
    // The library writes its progress to standard error unless told otherwise; it has nothing
    // for the user.
    static std::once_flag quiet;
    std::call_once(quiet, [] { err_set_logfp(nullptr); });

    if (!model.isInstalled())
        return nullptr;
    const QByteArray hmm = model.acousticModel.toLocal8Bit();
    const QByteArray lm = model.languageModel.toLocal8Bit();
    const QByteArray dict = model.dictionary.toLocal8Bit();
    auto handles = std::make_unique<Handles>();
    // Only the first, fast pass, with fewer Gaussians scored per frame (about a third less CPU
    // for much the same words): a rough draft wants speed, and the later passes only refine the
    // final answer, which the real transcript gives anyway.
    handles->config = cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", hmm.constData(), "-lm", lm.constData(), "-dict", dict.constData(),
                                  "-samprate", "16000", "-fwdflat", "no", "-bestpath", "no", "-maxhmmpf", "3000", "-maxwpf", "5",
                                  "-pl_window", "10", "-topn", "2", nullptr);
    if (!handles->config) {
        qCInfo(lcOndel, "Live draft: the speech model's settings were refused");
        return nullptr;
    }
    handles->decoder = ps_init(handles->config);
    if (!handles->decoder || ps_start_utt(handles->decoder) < 0) {
        qCInfo(lcOndel, "Live draft: the speech model could not be loaded from %s", qPrintable(model.acousticModel));
        return nullptr;
    }
    return std::unique_ptr<PocketSphinxDecoder>(new PocketSphinxDecoder(std::move(handles)));
}

PocketSphinxDecoder::PocketSphinxDecoder(std::unique_ptr<Handles> handles)
    : m(std::move(handles))
{
}

PocketSphinxDecoder::~PocketSphinxDecoder() = default;

PocketSphinxDecoder::Progress PocketSphinxDecoder::process(std::span<const std::int16_t> samples)
{
    Progress progress;
    if (samples.empty())
        return progress;
    ps_process_raw(m->decoder, samples.data(), samples.size(), FALSE, FALSE);
    const bool inSpeech = ps_get_in_speech(m->decoder) != 0;
    if (inSpeech)
        m_inUtterance = true;
    if (!m_inUtterance)
        return progress;
    if (!inSpeech) {
        // The silence after speech: the utterance's last guess, then a fresh one.
        ps_end_utt(m->decoder);
        progress.utteranceEnded = true;
    }
    int32 score = 0;
    if (const char *hyp = ps_get_hyp(m->decoder, &score))
        progress.hypothesis = QString::fromUtf8(hyp);
    if (progress.utteranceEnded) {
        ps_start_utt(m->decoder);
        m_inUtterance = false;
    }
    return progress;
}

void PocketSphinxDecoder::restart()
{
    ps_end_utt(m->decoder);
    ps_start_utt(m->decoder);
    m_inUtterance = false;
}
