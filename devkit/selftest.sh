#!/bin/sh
# Checks the dev kit itself (stubs, certificates, HTTPS test server) before
# anything is tested with it.
exec python3 "$(dirname "$0")/selftest.py" "$@"
