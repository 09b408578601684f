#!/bin/sh
# Stand-in for the media server's upgrade script: "check" looks up the
# installed version and leaves it where the collector reads it.
[ "$1" = check ] || exit 0
echo "PlexMediaServer 2024-03-07 1.40.1.8227 c0dd5a73e" >/tmp/plex_current_version
