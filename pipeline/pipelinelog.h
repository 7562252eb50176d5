#pragma once

// Diagnostics of the run pipeline. Debug lines are off unless the logging rules turn on
// "dravik.pipeline.debug": the search and the processor write one per file, which would
// cost more than the work itself on large trees if they always went to standard error.

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcPipeline)
