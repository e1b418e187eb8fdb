#!/bin/sh
# Brings the video library up to what the media server asks of it: a number of videos for each collection.
set -eu

# The server's socket folder; the library may lie elsewhere when the root's path is too long for a socket.
PGHOST=$(readlink -f @ROOT@/var/services/pgsql/home)
export PGHOST

psql -Xq -v ON_ERROR_STOP=1 -U postgres -d video_metadata \
  -c 'ALTER TABLE collection ADD COLUMN IF NOT EXISTS videos integer NOT NULL DEFAULT 0'
