#!/bin/sh
# Prints what the outbox writes to its storage (docs/outbox.md, "Figures"): the bytes and the
# storage calls of keeping one alarm e-mail of the example card, of a retry that fails again and of
# one that delivers it, and the content of 32 kept e-mails against the storage that the bounds
# count. Builds an outbox library with its outbox on the card's persistent storage, as the card
# setting puts it, in build/outbox-writes, and runs the count with private card paths (root).
set -eu
cd "$(dirname "$0")/.."
scripts/install-deps.sh test >&2
cmake -S . -B build/outbox-writes -DCMAKE_BUILD_TYPE=Release -DEMAILSERVICE_BUILD_TESTS=OFF \
  -DEMAILSERVICE_BUILD_BENCHMARKS=ON -DEMAILSERVICE_OUTBOX=ON \
  -DEMAILSERVICE_OUTBOX_DIRECTORY=/flash/emailService/outbox >/dev/null
cmake --build build/outbox-writes -j "$(nproc)" --target outbox_writes >/dev/null
exec tests/support/private-card-paths.sh build/outbox-writes/benchmarks/outbox_writes "$(pwd)/examples/card.txtpb"
