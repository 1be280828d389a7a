#!/usr/bin/env bash
# Regenerates the MXF fixtures with ffmpeg (Debian's package): a few frames of small synthetic
# pictures and tones, written bit-exact (the UMIDs still differ from run to run).
#
#   make-fixtures.sh [XSDDICT DICTIONARY.xsd]
#
# With the inspector and a dictionary imported from the registers, each file's reading is
# written beside it as FILE.actual.json and compared with mediainfo --Details=1 and ffprobe
# (cross-check.py): review that, then rename it to FILE.expected.json.
set -euo pipefail
cd "$(dirname "$0")/fixtures"
common=(-hide_banner -loglevel error -y -fflags +bitexact -flags +bitexact)
picture() { echo "testsrc=size=$1:rate=25"; }
tone=sine=frequency=440:sample_rate=48000

# OP1a: MPEG-2 video, 16-bit PCM and a timecode, five frames.
ffmpeg "${common[@]}" -f lavfi -i "$(picture 64x48)" -f lavfi -i $tone -t 0.2 \
  -c:v mpeg2video -pix_fmt yuv420p -b:v 200k -c:a pcm_s16le -timecode 10:00:00:00 op1a-mpeg2-pcm.mxf
# D-10 (IMX 30): one frame of 720x608 and its sound.
ffmpeg "${common[@]}" -f lavfi -i "$(picture 720x608)" -f lavfi -i $tone -t 0.04 \
  -c:v mpeg2video -pix_fmt yuv422p -intra_vlc 1 -non_linear_quant 1 -qmin 2 -qmax 2 -q:v 2 \
  -b:v 30000k -minrate 30000k -maxrate 30000k -bufsize 1200000 -rc_init_occupancy 1200000 -dc 10 \
  -flags +ildct+low_delay+bitexact -ps 1 -c:a pcm_s16le -ac 1 -f mxf_d10 d10.mxf
# OP-Atom: two frames of DNxHR video, and 80 ms of 24-bit sound, one file each.
ffmpeg "${common[@]}" -f lavfi -i "$(picture 256x144)" -frames:v 2 -c:v dnxhd -profile:v dnxhr_lb \
  -pix_fmt yuv422p -f mxf_opatom opatom-video.mxf
ffmpeg "${common[@]}" -f lavfi -i $tone -t 0.08 -c:a pcm_s24le -f mxf_opatom opatom-audio.mxf
# OP1a with other codecs: ProRes and DNxHR with 24- and 16-bit sound, DV (one PAL frame, the
# smallest DV can be), JPEG 2000 and H.264 alone.
ffmpeg "${common[@]}" -f lavfi -i "$(picture 64x48)" -f lavfi -i $tone -t 0.08 -c:v prores_aw \
  -profile:v 0 -pix_fmt yuv422p10le -c:a pcm_s24le op1a-prores.mxf
ffmpeg "${common[@]}" -f lavfi -i "$(picture 256x144)" -f lavfi -i $tone -frames:v 2 -t 0.08 \
  -c:v dnxhd -profile:v dnxhr_lb -pix_fmt yuv422p -c:a pcm_s16le op1a-dnxhr.mxf
ffmpeg "${common[@]}" -f lavfi -i "$(picture 720x576)" -f lavfi -i $tone -t 0.04 -c:v dvvideo \
  -pix_fmt yuv420p -c:a pcm_s16le op1a-dv.mxf
ffmpeg "${common[@]}" -f lavfi -i "$(picture 64x48)" -t 0.08 -c:v jpeg2000 op1a-jpeg2000.mxf
ffmpeg "${common[@]}" -f lavfi -i "$(picture 64x48)" -t 0.12 -c:v libx264 -preset ultrafast \
  op1a-h264.mxf
# A long file: twelve seconds of MPEG-2 in GOPs of 25 frames on a tiny picture, 300 edit units
# that ffmpeg indexes in two segments, for the walk.
ffmpeg "${common[@]}" -f lavfi -i "$(picture 32x32)" -t 12 -c:v mpeg2video -pix_fmt yuv420p -g 25 \
  -b:v 20k op1a-long.mxf
ls -l ./*.mxf

if [ $# -eq 2 ]; then
  xsddict=$(realpath "$1") dictionary=$(realpath "$2")
  cd ..  # the golden test reads them as fixtures/NAME.mxf
  for file in fixtures/*.mxf; do
    "$xsddict" mxf "$file" --dictionary "$dictionary" --json >"${file%.mxf}.actual.json"
    python3 cross-check.py "$file" "${file%.mxf}.actual.json"
  done
fi
