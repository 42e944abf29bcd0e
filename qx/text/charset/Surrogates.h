#pragma once

#include <qx/core/Surrogates.h>
