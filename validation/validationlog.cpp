#include "validation/validationlog.h"

Q_LOGGING_CATEGORY(lcValidation, "dravik.validation")
