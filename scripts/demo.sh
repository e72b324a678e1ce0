#!/usr/bin/env bash
# The main job: builds the agent, lays out a simulated headend (four modules:
# one with alarms, one unreachable, one that hangs, one with a CAM), starts the dev kit's HTTPS
# test server with a reply that carries a few real commands and an unknown
# one, runs the agent twice with --once, and shows what the server received
# and what the headend holds afterwards. Everything it starts, it stops.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh remote-control
exec python3 devkit/demo.py --agent build/remote-control "$@"
