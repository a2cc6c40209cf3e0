# The studio's view: named views, projection, fit, mouse and keys.

# --- The view ---------------------------------------------------------------

proc studio::redraw {} {
    variable S
    if {$S(redrawPending)} return
    set S(redrawPending) 1
    after idle studio::flushDraw
}

proc studio::flushDraw {} {
    variable S
    set S(redrawPending) 0
    after cancel studio::flushDraw
    modelr draw
}

proc studio::namedView {name} {
    modelr set view $name
    redraw
}

proc studio::setProjection {kind} {
    variable S
    set S(projection) $kind
    modelr set view $kind
    fit
}

proc studio::toggleProjection {} {
    variable S
    setProjection [expr {$S(projection) eq "parallel" ? "perspective" : "parallel"}]
}

proc studio::setDisplay {switch on} {
    variable S
    set S(display,$switch) $on
    modelr display $switch $on
    redraw
}

proc studio::zoomBy {factor} {
    set zoom [expr {[lindex [modelr get zoom] 0] * $factor}]
    modelr set view zoom $zoom
    redraw
}

proc studio::turnBy {dx dy} {
    modelr set view rotate $dx $dy
    redraw
}

# Row-order 4x4 matrix times a column (x y z w).
proc studio::transform {m v} {
    set out {}
    foreach row {0 1 2 3} {
        set sum 0.0
        foreach c {0 1 2 3} { set sum [expr {$sum + [lindex $m [expr {$row * 4 + $c}]] * [lindex $v $c]}] }
        lappend out $sum
    }
    return $out
}

# Where a model point is drawn: eye coordinates and normalised device
# coordinates, as the last frame drew it (focus shift included).
proc studio::project {p} {
    variable S
    set q [list {*}[lmap a $p f $S(focus) {expr {$a - $f}}] 1.0]
    set eye [transform [modelr get matrix view] $q]
    set clip [transform [modelr get matrix projection] $eye]
    set w [lindex $clip 3]
    if {$w == 0} { set w 1e-9 }
    return [list [lrange $eye 0 2] [expr {[lindex $clip 0] / $w}] [expr {[lindex $clip 1] / $w}]]
}

proc studio::corners {} {
    lassign [modelr get bounds] x0 y0 z0 x1 y1 z1
    set out {}
    foreach x [list $x0 $x1] { foreach y [list $y0 $y1] { foreach z [list $z0 $z1] {
        lappend out [list $x $y $z]
    }}}
    return $out
}

# Fit: the model's box, as the view turns it, fills S(margin) of the view
# (a tenth of the view free on every side) and sits in its middle.
proc studio::fit {} {
    variable S
    if {$S(current) eq "" || [modelr get bounds] eq ""} return
    modelr set view fit
    set S(focus) [lrange [modelr get centre] 0 2]
    flushDraw
    set corners [corners]
    set xs {}; set ys {}
    foreach c $corners {
        lassign [lindex [project $c] 0] ex ey
        lappend xs $ex; lappend ys $ey
    }
    set xs [lsort -real $xs]; set ys [lsort -real $ys]
    set halfX [expr {([lindex $xs end] - [lindex $xs 0]) / 2.0}]
    set halfY [expr {([lindex $ys end] - [lindex $ys 0]) / 2.0}]
    if {$halfX <= 0 && $halfY <= 0} return  ;# no size: the engine's fit stands
    modelr set x [expr {([lindex $xs end] + [lindex $xs 0]) / 2.0}]
    modelr set y [expr {([lindex $ys end] + [lindex $ys 0]) / 2.0}]
    set zoom [lindex [modelr get zoom] 0]
    if {$S(projection) eq "parallel"} {
        # The half extents shown are linear in the zoom.
        set p [modelr get matrix projection]
        set shownX [expr {1.0 / [lindex $p 0] / $zoom}]
        set shownY [expr {1.0 / [lindex $p 5] / $zoom}]
        set want [expr {max($halfX / $shownX, $halfY / $shownY) / $S(margin)}]
        if {$want > 0} { modelr set view zoom $want }
    } else {
        # The eye moves with the zoom: a few rounds of measuring.
        for {set round 0} {$round < 8} {incr round} {
            flushDraw
            set most 0.0
            foreach c $corners {
                lassign [project $c] eye nx ny
                set most [expr {max($most, abs($nx), abs($ny))}]
            }
            if {abs($most - $S(margin)) < 0.01 * $S(margin)} break
            set zoom [expr {[lindex [modelr get zoom] 0] * $most / $S(margin)}]
            modelr set view zoom $zoom
        }
    }
    flushDraw
}

# The view-plane move of a model unit: pixels per unit along the screen's
# x and y at the selection's depth, and the two axes in model space.
proc studio::dragFrame {centre} {
    set m [modelr get matrix view]
    set right [lrange $m 0 2]
    set up [lrange $m 4 6]
    set W [winfo width $::studio::S(w,gl)]
    set H [winfo height $::studio::S(w,gl)]
    lassign [project $centre] - x0 y0
    lassign [project [lmap c $centre r $right {expr {$c + $r}}]] - x1 y1
    lassign [project [lmap c $centre u $up {expr {$c + $u}}]] - x2 y2
    set ppuX [expr {hypot(($x1 - $x0) * $W / 2.0, ($y1 - $y0) * $H / 2.0)}]
    set ppuY [expr {hypot(($x2 - $x0) * $W / 2.0, ($y2 - $y0) * $H / 2.0)}]
    return [list $right $up $ppuX $ppuY]
}

# --- Mouse and keys in the view --------------------------------------------

proc studio::press {button x y how} {
    variable S
    focus $S(w,gl)
    if {$S(busy)} return
    flushDraw
    set S(drag) [dict create button $button x $x y $y x0 $x y0 $y how $how moved 0 mode view]
    if {$button == 1 && $how eq "replace" && $S(current) ne ""} {
        set hit [pickAt $x $y]
        if {$hit ne "" && $S(mode) in {point child}
                && [isSelected $S(mode) $hit]} {
            set centre [modelr select centre]
            if {[llength $centre] == 3} {
                dict set S(drag) mode move
                dict set S(drag) frame [dragFrame $centre]
            }
        }
    }
}

proc studio::motion {x y} {
    variable S
    if {$S(drag) eq ""} return
    set dx [expr {$x - [dict get $S(drag) x]}]
    set dy [expr {$y - [dict get $S(drag) y]}]
    if {![dict get $S(drag) moved]} {
        set far [expr {max(abs($x - [dict get $S(drag) x0]), abs($y - [dict get $S(drag) y0]))}]
        if {$far < $S(dragThreshold)} return
        dict set S(drag) moved 1
        if {[dict get $S(drag) mode] eq "move"} {
            if {[catch {beginEdit} message]} {
                dict set S(drag) mode view
            }
        }
    }
    dict set S(drag) x $x
    dict set S(drag) y $y
    switch -- [dict get $S(drag) button] {
        1 {
            if {[dict get $S(drag) mode] eq "move"} {
                lassign [dict get $S(drag) frame] right up ppuX ppuY
                if {$ppuX > 0 && $ppuY > 0} {
                    set d [lmap r $right u $up {expr {$r * $dx / $ppuX - $u * $dy / $ppuY}}]
                    modelr select translate {*}$d
                    refreshProperties
                }
                redraw
            } else {
                turnBy [expr {$dx * 0.5}] [expr {$dy * 0.5}]
            }
        }
        2 {
            modelr set view pan $dx $dy
            redraw
        }
        3 { zoomBy [expr {max(0.05, 1.0 + $dy / 100.0)}] }
    }
}

proc studio::release {x y} {
    variable S
    if {$S(drag) eq ""} return
    set drag $S(drag)
    set S(drag) ""
    if {[dict get $drag moved]} {
        if {[dict get $drag mode] eq "move"} {
            endEdit $S(current) "Move"
            afterChange
        }
        return
    }
    if {[dict get $drag button] == 1} {
        clickSelect $x $y [dict get $drag how]
    }
}

proc studio::wheel {direction} {
    if {$direction < 0} {
        zoomBy [expr {1.0 / 1.1}]
    } else {
        zoomBy 1.1
    }
}

# Runs the command for a key pressed without Control or Alt.
proc studio::plainKey {state args} {
    if {$state & 12} return
    {*}$args
}

proc studio::bindView {gl} {
    foreach {pattern how} {
        <ButtonPress-1> replace <Shift-ButtonPress-1> add <Control-ButtonPress-1> toggle
    } {
        bind $gl $pattern [list studio::press 1 %x %y $how]
    }
    bind $gl <ButtonPress-2> {studio::press 2 %x %y replace}
    bind $gl <ButtonPress-3> {studio::press 3 %x %y replace}
    bind $gl <Motion> {studio::motion %x %y}
    bind $gl <ButtonRelease> {studio::release %x %y}
    bind $gl <Button-4> {studio::wheel -1}
    bind $gl <Button-5> {studio::wheel 1}
    bind $gl <MouseWheel> {studio::wheel [expr {%D > 0 ? -1 : 1}]}
    # Ctrl+S is Save, not the south view.
    foreach {key view} {d down u up n north s south e east w west} {
        bind $gl <KeyPress-$key> [list studio::plainKey %s studio::namedView $view]
    }
    bind $gl <KeyPress-f> {studio::plainKey %s studio::fit}
    bind $gl <KeyPress-p> {studio::plainKey %s studio::toggleProjection}
    bind $gl <KeyPress-Delete> studio::deleteSelection
    bind $gl <KeyPress-Escape> studio::deselectAll
    bind $gl <KeyPress-Left> {studio::turnBy -15 0}
    bind $gl <KeyPress-Right> {studio::turnBy 15 0}
    bind $gl <KeyPress-Up> {studio::turnBy 0 -15}
    bind $gl <KeyPress-Down> {studio::turnBy 0 15}
    bind $gl <KeyPress-plus> {studio::zoomBy [expr {1.0 / 1.1}]}
    bind $gl <KeyPress-minus> {studio::zoomBy 1.1}
}

