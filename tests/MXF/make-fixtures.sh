#!/usr/bin/env bash
# Regenerates the MXF fixtures with ffmpeg (Debian's package): a few frames of small synthetic
# pictures and tones, written bit-exact (the UMIDs still differ from run to run). After a rerun,
# review each file's reading (xsddict mxf FILE --dictionary registers.xsd --json) against
# mediainfo --Details=1 before replacing the expected JSON beside it.
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
ls -l ./*.mxf
