#!/usr/bin/env bash
# Writes the reference of the public headers to a folder: scripts/reference.sh VERSION FOLDER. Fails when
# Doxygen has something to complain about; those before 1.9.4 complain of what they do not know.
set -euo pipefail
cd "$(dirname "$0")/.."

export QX_VERSION=$1 QX_DOCS_DIR=$2
rm -rf "$QX_DOCS_DIR"/{headers,examples,html}
mkdir -p "$QX_DOCS_DIR"
python3 scripts/grouped-headers.py "$QX_DOCS_DIR/headers"
python3 scripts/docs-snippets.py examples "$QX_DOCS_DIR/examples" README.md docs/*.md docs/guide/*.md
{
    cat docs/Doxyfile
    printf '1.9.4\n%s\n' "$(doxygen --version | cut -d ' ' -f 1)" | sort -CV || echo WARN_AS_ERROR = NO
} | doxygen -
