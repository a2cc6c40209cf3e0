# The studio's edits of the selection and the clicks that make it.

# --- Editing ----------------------------------------------------------------

proc studio::deleteSelection {} {
    edit "Delete" { mr select delete }
}

proc studio::copySelection {} {
    edit "Copy" { mr select copy }
}

proc studio::bakeMirrors {} {
    edit "Mirror bake" { mr perform bakeall share }
}

# A point's coordinates, from the properties panel.
proc studio::setPoint {n x y z} {
    foreach v [list $x $y $z] {
        if {![string is double -strict $v]} {
            say "Point $n: \"$v\" is not a number" error
            return 0
        }
    }
    # add point moves it exactly, but takes its mark off.
    set marked [expr {$n in [selectedOf point]}]
    edit "Move point $n" {
        mr add point $n $x $y $z
        if {$marked} { modelr select point $n }
    }
    return 1
}

proc studio::renameLayer {old {new ""}} {
    variable S
    if {$new eq ""} {
        set new [dialog::askString "Rename layer" "New name of layer $old:" $old]
    }
    if {$new eq "" || $new eq $old} { return 0 }
    edit "Rename layer" {
        mr select layer $old
        mr set layer name $new
    }
    if {$S(layer) eq $old && $new in [words [modelr get layer names]]} {
        set S(layer) $new
    }
    afterChange
    return 1
}

# --- Selection --------------------------------------------------------------
# Clicks pick with the picker of the mode (S(mode): point, triangle, line,
# joint, child or collide, the words pick, select and deselect share).

# What lies under the window position, or "" for nothing.
proc studio::pickAt {x y} {
    variable S
    if {$S(current) eq ""} { return "" }
    flushDraw
    set hit [modelr pick $S(mode) $x $y]
    if {$hit eq "" || $hit eq "0" || $hit eq "-1"} { return "" }
    return $hit
}

proc studio::selectedOf {kind} {
    switch -- $kind {
        point { return [listOf [modelr get points (selected)]] }
        triangle { return [listOf [modelr get triangles (selected)]] }
        line { return [listOf [modelr get lines (selected)]] }
        child { return [listOf [modelr get children (selected)]] }
        default { return {} }
    }
}

proc studio::isSelected {kind id} {
    expr {$id in [selectedOf $kind]}
}

# A click: alone it makes the picked item the selection (nothing picked
# clears it); with Shift it adds the item, with Control it flips it.
proc studio::clickSelect {x y how} {
    variable S
    if {$S(current) eq ""} return
    set hit [pickAt $x $y]
    switch -- $how {
        replace {
            modelr select clear
            if {$hit ne ""} { modelr select $S(mode) $hit }
        }
        add {
            if {$hit ne ""} { modelr select $S(mode) $hit }
        }
        toggle {
            if {$hit ne ""} {
                if {[isSelected $S(mode) $hit]} {
                    modelr deselect $S(mode) $hit
                } else {
                    modelr select $S(mode) $hit
                }
            }
        }
    }
    chooseLayer $S(layer)
    afterChange
    return $hit
}

proc studio::selectAll {} {
    variable S
    if {$S(current) eq ""} return
    set word [dict get {point points triangle triangles line lines joint joints
        child children collide collides} $S(mode)]
    set ids [listOf [modelr get $word]]
    if {$S(mode) eq "joint"} {
        set ids [lmap {name parent} $ids {set name}]
    }
    if {$S(mode) eq "point" && [llength $ids] != [modelr get numpoints]} {
        # Too many to list: every number up to the highest, quietly.
        modelr callback error studio::ignore
        for {set n 1} {$n <= [modelr get highest]} {incr n} { modelr select point $n }
        modelr callback error studio::onError
    } else {
        foreach id $ids { modelr select $S(mode) $id }
    }
    afterChange
}
proc studio::ignore {args} {}

proc studio::deselectAll {} {
    variable S
    if {$S(current) eq ""} return
    modelr select clear
    chooseLayer $S(layer)
    afterChange
}

proc studio::setMode {mode} {
    variable S
    set S(mode) $mode
    if {$mode eq "point" && ![modelr display points]} { setDisplay points 1 }
    if {$mode eq "joint" && ![modelr display skeleton]} { setDisplay skeleton 1 }
    if {$mode eq "collide" && ![modelr display collide]} { setDisplay collide 1 }
    say "Clicks select [dict get {point points triangle polygons line lines
        joint joints child children collide {collide objects}} $mode]"
}

proc studio::chooseLayer {name} {
    variable S
    if {$S(current) eq "" || $name eq ""} {
        set S(layer) ""
        return
    }
    if {$name in [words [modelr get layer names]] && [modelr select layer $name] eq "1"} {
        set S(layer) $name
    } else {
        set S(layer) ""
    }
}

