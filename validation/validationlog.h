#pragma once

#include <QLoggingCategory>

// Trace lines of the path, folder and name rules; silence with "dravik.validation.debug=false".
Q_DECLARE_LOGGING_CATEGORY(lcValidation)
