#!/usr/bin/env bash
# Writes the reference of the public headers to a folder: scripts/reference.sh VERSION FOLDER. Fails when
# Doxygen has something to complain about.
set -euo pipefail
cd "$(dirname "$0")/.."

export QX_VERSION=$1 QX_DOCS_DIR=$2
rm -rf "$QX_DOCS_DIR"/{headers,examples,html}
mkdir -p "$QX_DOCS_DIR"
python3 scripts/grouped-headers.py "$QX_DOCS_DIR/headers"
python3 scripts/docs-snippets.py examples "$QX_DOCS_DIR/examples" README.md docs/*.md docs/guide/*.md
doxygen docs/Doxyfile
