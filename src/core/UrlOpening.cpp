#include "UrlOpening.h"

namespace {

UrlOpening::Opener &installed()
{
    static UrlOpening::Opener opener;
    return opener;
}

} // namespace

void UrlOpening::install(Opener opener)
{
    installed() = std::move(opener);
}

bool UrlOpening::open(const QUrl &url)
{
    return installed() && installed()(url);
}
