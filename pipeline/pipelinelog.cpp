#include "pipeline/pipelinelog.h"

Q_LOGGING_CATEGORY(lcPipeline, "dravik.pipeline", QtInfoMsg)
