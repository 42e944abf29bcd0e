#!/usr/bin/env bash
# Writes qx/qx.h: tools/gen/umbrella.sh >qx/qx.h
set -euo pipefail
cd "$(dirname "$0")/../.."

cat <<'END'
// Made by: tools/gen/umbrella.sh
#pragma once

/// @file
/// Every public header of the library, for programs that do not mind the compile time.

END
find qx -name '*.h' -not -path '*/detail/*' -not -path '*/posix/*' -not -path qx/qx.h |
    LC_ALL=C sort | sed 's/.*/#include <&>/'
