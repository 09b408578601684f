#!/bin/sh
# Firmware helper: prints the unified model name for a module name.
# Usage: model_check.sh eth <module name>
case "$1" in
    eth) ;;
    *) echo "usage: $0 eth <module name>" >&2; exit 1 ;;
esac
case "$2" in
    ZT500|ZT500v2|ZT500S) echo "ZT500" ;;
    ZT410|ZT410v2) echo "ZT410" ;;
    "") echo "unknown" ;;
    *) echo "$2" ;;
esac
