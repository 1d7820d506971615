#!/bin/bash
# Looks at what is about to be committed: the format of its sources, and the
# floors. `./dev setup --hook` installs it.
set -euo pipefail
cd "$(git rev-parse --show-toplevel)"

mapfile -d '' -t staged < <(git diff --cached --name-only --diff-filter=ACMR -z -- '*.cpp' '*.h')
badly_laid=0
for file in "${staged[@]}"; do
  # As it is staged, not as it lies in the folder.
  if ! git show ":$file" | clang-format --assume-filename="$file" --dry-run -Werror 2>/dev/null; then
    echo "not formatted: $file" >&2
    badly_laid=1
  fi
done
if ((badly_laid)); then
  echo "./dev format puts that right" >&2
  exit 1
fi
scripts/check_layers.py
