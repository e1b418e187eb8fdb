#!/bin/sh
# Upgrades the video library for the media server, which needs the number of videos of each collection.
set -eu

# The folder of the server's socket. The library is elsewhere if the root's path is too long for a socket's address.
PGHOST=$(readlink -f @ROOT@/var/services/pgsql/home)
export PGHOST

psql -Xq -v ON_ERROR_STOP=1 -U postgres -d video_metadata \
  -c 'ALTER TABLE collection ADD COLUMN IF NOT EXISTS videos integer NOT NULL DEFAULT 0'
