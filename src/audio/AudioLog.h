#pragma once

#include <QLoggingCategory>

// Lines of the audio subsystem; the core log handler prefixes and routes them.
Q_DECLARE_LOGGING_CATEGORY(lcAudio)
