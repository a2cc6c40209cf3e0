# Screen captures for the view tests: `modelr draw`, then the viewport as
# `modelr file savescreen` writes it, read back as {width height bytes}
# (bytes red, green, blue, bottom row first). Sourced after common.tcl.

proc capture {} {
    modelr draw
    update
    modelr file savescreen capture.tga
    set data [readBytes capture.tga]
    file delete capture.tga
    binary scan $data @12susu width height
    binary scan $data @273cu* bytes
    return [list $width $height $bytes]
}

# The {r g b} at column x of row y of a capture, rows counted from the
# bottom as the file stores them; the middle row when y is left out.
proc shotPixel {shot x {y ""}} {
    lassign $shot width height bytes
    if {$y eq ""} { set y [expr {$height / 2}] }
    set i [expr {($y * $width + $x) * 3}]
    return [lrange $bytes $i [expr {$i + 2}]]
}

# A colour as the tests tell colours apart: each channel on (above 90) or
# off. Edges blended by multisampling, or a driver's shade of grey, keep
# their hue.
proc hueOf {r g b} {
    return [expr {$r > 90}][expr {$g > 90}][expr {$b > 90}]
}

# How many pixels have (matching 1) or have not (matching 0) the hue of
# the colour, and the leftmost and rightmost columns they are in.
proc pixelCount {shot rgb matching} {
    lassign $shot width height bytes
    set want [hueOf {*}$rgb]
    set n 0
    set left $width
    set right -1
    set i 0
    foreach {r g b} $bytes {
        if {([hueOf $r $g $b] eq $want) == $matching} {
            incr n
            set c [expr {$i % $width}]
            if {$c < $left} { set left $c }
            if {$c > $right} { set right $c }
        }
        incr i
    }
    return [list $n $left $right]
}
proc pixelsOf {shot rgb} { pixelCount $shot $rgb 1 }
proc otherPixels {shot rgb} { pixelCount $shot $rgb 0 }
