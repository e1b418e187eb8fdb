#!/usr/bin/env bash
# Creates a few pictures, songs and a short film, with titles, artists, album art and dates: media.sh FOLDER
set -euo pipefail
folder=$1

# make ARGUMENT... FILE: creates FILE below the folder with ffmpeg.
make() {
  mkdir -p "$(dirname "$folder/${*: -1}")"
  ffmpeg -nostdin -loglevel error -y "${@:1:$#-1}" "$folder/${*: -1}"
}

# song FILE HERTZ TITLE ARTIST ALBUM TRACK YEAR
song() {
  make -f lavfi -i "sine=frequency=$2:duration=3" -metadata title="$3" -metadata artist="$4" -metadata album="$5" \
    -metadata track="$6" -metadata date="$7" -metadata genre=Test "$1"
}

# picture FILE SOURCE [DAY]
picture() {
  make -f lavfi -i "$2" -frames:v 1 -q:v 3 "$1"
  [[ -z ${3-} ]] || exiv2 -M "set Exif.Photo.DateTimeOriginal $3 12:00:00" "$folder/$1"
}

song "music/Low Tones/01.mp3" 220 "First Tone" "The Sines" "Low Tones" 1 2019
song "music/Low Tones/02.flac" 247 "Second Tone" "The Sines" "Low Tones" 2 2019
song "music/High Tones/01.mp3" 880 "Third Tone" "Zoë & the Waves" "High Tones" 1 2023
picture "music/Low Tones/cover.jpg" color=steelblue:s=160x160
picture "music/Low Tones/front.jpg" color=darkred:s=160x160
picture "music/High Tones/cover.jpg" color=orange:s=160x160
picture photo/Coast/ebb.jpg testsrc=s=640x480 2021:07:04
picture photo/Coast/flood.jpg testsrc2=s=640x480 2020:07:05
picture photo/Harbour.jpg smptebars=s=640x480 2022:03:01
make -f lavfi -i testsrc2=s=320x240:r=12:d=5 -f lavfi -i sine=frequency=330:duration=5 -c:v libx264 -pix_fmt yuv420p \
  -metadata title="A Short Film" -metadata creation_time=2022-05-06T12:00:00Z "video/A Short Film.mp4"
