#pragma once

#include <cstdint>

#include <qx/core/String.h>

/// What is wrong with a statement, and where: the column counts UTF-16 units from 1.
struct StatementFailure {
    int32_t column;
    qx::String message;
};
