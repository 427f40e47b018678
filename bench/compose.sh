# The picture that Glintro renders, composed by an FFmpeg filter graph: the recording zoomed, scaled, with
# rounded corners on a backdrop with a shadow, a pointer and the camera bubble. Sourced by run.sh.
#
# All that stands still is drawn once beforehand, as a careful script would do. The pointer's path and the place
# that a zoom looks at are made up; how long and how far is zoomed is the reel's own.

# round_mask FILE WIDTH HEIGHT RADIUS: white inside a rounded rectangle, with smooth corners.
round_mask() {
    local x="max(abs(X-$2/2+0.5)-($2/2-$4)\,0)" y="max(abs(Y-$3/2+0.5)-($3/2-$4)\,0)"
    ffmpeg -v error -y -f lavfi -i "color=black:s=$2x$3,format=gray,geq=lum='255*clip(0.5+$4-hypot($x\,$y)\,0\,1)'" \
        -frames:v 1 "$1"
}

# compose_pictures FOLDER: backdrop with shadow, masks, pointer and the ring around the camera, for 1920 x 1080.
compose_pictures() {
    local box="color=black@0.36:s=1470x918,format=rgba,pad=1920:1080:225:95:color=black@0,gblur=sigma=26"
    ffmpeg -v error -y -f lavfi -i "gradients=s=1920x1080:c0=0x8a2be2:c1=0x1e6fff:x0=0:y0=0:x1=1920:y1=1080" \
        -f lavfi -i "$box" -filter_complex "[0][1]overlay=format=rgb" -frames:v 1 "$1/backdrop.png"
    round_mask "$1/corners.png" 1470 918 20
    round_mask "$1/circle.png" 259 259 129.5
    round_mask "$1/ring-mask.png" 267 267 133.5
    ffmpeg -v error -y -f lavfi -i "color=white:s=267x267,format=rgba" -i "$1/ring-mask.png" \
        -filter_complex "[1]format=gray[m];[0][m]alphamerge,pad=387:387:60:60:color=black@0" -frames:v 1 "$1/ring.png"
    ffmpeg -v error -y -f lavfi -i "color=black:s=60x80,format=rgba,geq=r=0:g=0:b=0:a='255*lt(X\,0.8*Y)*lt(Y\,72)'" \
        -frames:v 1 "$1/pointer.png"
}

# zoom_expression GLINTRO REEL: the reel's zooms as an expression of t, with ramps of half a second.
zoom_expression() {
    "$1" inspect "$2" --json | awk '
        /"zooms": \[$/ { inside = 1 }
        inside && /"end":/ { sub(/,/, "", $2); end = $2 }
        inside && /"scale":/ { sub(/,/, "", $2); scale = $2 }
        inside && /"start":/ {
            sub(/,/, "", $2)
            text = text sprintf("+%g*clip(min(t-%g\\,%g-t)/0.5\\,0\\,1)", scale - 1, $2, end)
        }
        inside && /\]/ { inside = 0 }
        END { print "1" text }'
}

# compose_graph ZOOM ALPHA_FORMAT OVERLAY_FORMAT: inputs 0 recording, 1 backdrop, 2 corners, 3 pointer, 4 camera,
# 5 circle, 6 ring; output [out].
compose_graph() {
    local zoom=$1 alpha=$2 overlay=$3 still="loop=-1:1:0"
    cat <<EOT
[1:v]$still[bed]; [2:v]format=gray,$still[corners]; [3:v]$still[pointer]; [5:v]format=gray,$still[circle];
[6:v]$still[ring];
[0:v]fps=60,scale=w='1470*($zoom)':h='918*($zoom)':eval=frame:flags=bicubic,
     crop=1470:918:x='(in_w-out_w)*(0.5+0.4*sin(t))':y='(in_h-out_h)*(0.5+0.4*cos(t))',format=$alpha[screen];
[screen][corners]alphamerge[window]; [bed][window]overlay=x=225:y=81:format=$overlay[framed];
[framed][pointer]overlay=x='900+600*sin(t*1.3)':y='500+350*cos(t)':format=$overlay[pointed];
[4:v]fps=60,crop=720:720,scale=259:259:flags=bicubic,format=$alpha[face]; [face][circle]alphamerge[bubble];
[pointed][ring]overlay=x=1556:y=717:format=$overlay[ringed];
[ringed][bubble]overlay=x=1620:y=781:format=$overlay,format=yuv420p[out]
EOT
}
