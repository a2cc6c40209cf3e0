# The studio's window: panels, menus and the layout.

# --- Panels -----------------------------------------------------------------

proc studio::swatch {i r g b} {
    set name studio::swatch$i
    if {$name ni [image names]} { image create photo $name -width 14 -height 10 }
    if {$r == 0 && $g == 0 && $b == 0} {
        set r [set g [set b [expr {127 / 255.0}]]]  ;# drawn grey
    }
    if {$r > 1 || $g > 1 || $b > 1} {
        set r [expr {$r / 255.0}]; set g [expr {$g / 255.0}]; set b [expr {$b / 255.0}]
    }
    set hex [format #%02x%02x%02x {*}[lmap c [list $r $g $b] {
        expr {int(max(0.0, min(1.0, $c)) * 255 + 0.5)}
    }]]
    $name put $hex -to 0 0 14 10
    return $name
}

proc studio::refreshLayers {} {
    variable S
    set tree $S(w,layers)
    $tree delete [$tree children {}]
    if {$S(current) eq ""} return
    set i 0
    foreach name [words [modelr get layer names]] {
        lassign [modelr get layer color $name] r g b
        set images [llength [words [modelr get layer images $name]]]
        set item [$tree insert {} end -text $name -image [swatch [incr i] $r $g $b] \
            -values [list [modelr get layer sides $name] [modelr get layer mirror $name] $images]]
        if {$name eq $S(layer)} { $tree selection set $item }
    }
}

proc studio::layerClicked {} {
    variable S
    set item [$S(w,layers) selection]
    if {[llength $item] != 1} return
    set name [$S(w,layers) item $item -text]
    if {$name eq $S(layer)} return
    chooseLayer $name
    modelr set showlayer 1
    redraw
}

proc studio::layerDoubleClicked {x y} {
    variable S
    set item [$S(w,layers) identify item $x $y]
    if {$item eq ""} return
    renameLayer [$S(w,layers) item $item -text]
}

proc studio::refreshProperties {} {
    variable S
    set p $S(w,props)
    if {$S(current) eq ""} {
        set S(prop,summary) "No model"
        set S(prop,point) ""
        foreach c {x y z} { $p.$c state disabled }
        $p.apply state disabled
        return
    }
    set parts {}
    foreach {word one many} {numpoints point points numtris polygon polygons
            numlines line lines numkids child children} {
        set n [modelr get $word (selected)]
        if {$n > 0} { lappend parts "$n [expr {$n == 1 ? $one : $many}]" }
    }
    set S(prop,summary) [expr {[llength $parts] ? "Selected: [join $parts {, }]" : "Nothing selected"}]
    set centre [modelr select centre]
    set S(prop,centre) [expr {[llength $centre] == 3 ?
        [format "Centre %.3f %.3f %.3f" {*}$centre] : ""}]
    set points [selectedOf point]
    if {[llength $points] == 1} {
        set n [lindex $points 0]
        set S(prop,point) "Point $n"
        lassign [modelr get point $n] x y z
        foreach c {x y z} v [list $x $y $z] {
            $p.$c state !disabled
            set S(prop,$c) [format %g $v]
        }
        $p.apply state !disabled
    } else {
        set S(prop,point) "Point (select one to edit it)"
        foreach c {x y z} {
            set S(prop,$c) ""
            $p.$c state disabled
        }
        $p.apply state disabled
    }
}

proc studio::applyPoint {} {
    variable S
    set points [selectedOf point]
    if {[llength $points] != 1} return
    setPoint [lindex $points 0] $S(prop,x) $S(prop,y) $S(prop,z)
}

proc studio::refreshMenus {} {
    variable S
    set m $S(w,edit)
    set d $S(current)
    set canUndo [expr {$d ne "" && $S(pos,$d) > 0}]
    set canRedo [expr {$d ne "" && $S(pos,$d) < [llength $S(hist,$d)] - 1}]
    $m entryconfigure 0 -state [expr {$canUndo ? "normal" : "disabled"}] \
        -label [expr {$canUndo ? "Undo [lindex $S(hist,$d) $S(pos,$d) 2]" : "Undo"}]
    $m entryconfigure 1 -state [expr {$canRedo ? "normal" : "disabled"}] \
        -label [expr {$canRedo ? "Redo [lindex $S(hist,$d) [expr {$S(pos,$d) + 1}] 2]" : "Redo"}]
    set models $S(w,models)
    $models delete 0 end
    foreach doc $S(docs) {
        $models add radiobutton -label [docName $doc] -value $doc \
            -variable studio::S(current) -command [list studio::switchTo $doc]
    }
}

proc studio::switchTo {d} {
    choose $d
    afterChange
}

# After anything that may have changed the document or the selection.
proc studio::afterChange {} {
    refreshLayers
    refreshProperties
    refreshMenus
    updateTitle
    redraw
}

# --- The window -------------------------------------------------------------

proc studio::menus {} {
    variable S
    set bar [menu .menubar -tearoff 0]
    . configure -menu $bar

    set m [menu $bar.file -tearoff 0]
    $bar add cascade -label File -underline 0 -menu $m
    $m add command -label New -command studio::newModel -accelerator Ctrl+N
    $m add command -label Open... -command studio::openFile -accelerator Ctrl+O
    $m add command -label Add... -command studio::addFile
    $m add command -label Reload -command studio::reload
    $m add cascade -label "Recent files" -menu [set S(w,recent) [menu $m.recent -tearoff 0]]
    $m add separator
    $m add command -label Save -command studio::save -accelerator Ctrl+S
    $m add command -label "Save As..." -command studio::saveAs -accelerator Ctrl+Shift+S
    $m add command -label "Export STL..." -command {studio::export stl}
    $m add command -label "Export OBJ..." -command {studio::export obj}
    $m add command -label "Export DirectX..." -command {studio::export x}
    # Import shows once the engine has it.
    if {[dict exists [modelr help file] import]} {
        $m add command -label Import... -command studio::importFile
    }
    $m add command -label "Save picture..." -command studio::savePicture
    $m add separator
    $m add command -label Quit -command studio::quit -accelerator Ctrl+Q

    set m [menu $bar.edit -tearoff 0]
    set S(w,edit) $m
    $bar add cascade -label Edit -underline 0 -menu $m
    $m add command -label Undo -command studio::undo -accelerator Ctrl+Z
    $m add command -label Redo -command studio::redo -accelerator Ctrl+Y
    $m add separator
    $m add command -label "Select all" -command studio::selectAll -accelerator Ctrl+A
    $m add command -label Deselect -command studio::deselectAll -accelerator Esc
    $m add command -label Delete -command studio::deleteSelection -accelerator Del
    $m add command -label Copy -command studio::copySelection -accelerator Ctrl+D
    $m add command -label "Mirror bake" -command studio::bakeMirrors
    $m add separator
    foreach {mode label} {point Points triangle Polygons line Lines joint Joints
            child Children collide "Collide objects"} {
        $m add radiobutton -label "Click selects $label" -value $mode \
            -variable studio::S(mode) -command [list studio::setMode $mode]
    }

    set m [menu $bar.view -tearoff 0]
    $bar add cascade -label View -underline 0 -menu $m
    foreach {view key} {down D up U north N south S east E west W} {
        $m add command -label [string totitle $view] -accelerator $key \
            -command [list studio::namedView $view]
    }
    $m add command -label Fit -command studio::fit -accelerator F
    $m add separator
    $m add radiobutton -label Parallel -value parallel -variable studio::S(projection) \
        -command {studio::setProjection parallel} -accelerator P
    $m add radiobutton -label Perspective -value perspective -variable studio::S(projection) \
        -command {studio::setProjection perspective} -accelerator P
    $m add separator
    set d [menu $m.display -tearoff 0]
    $m add cascade -label Display -menu $d
    foreach {switch usage} [modelr help display] {
        if {![string match *<on>* $usage]} continue
        set S(display,$switch) [expr {[modelr display $switch] eq "on"}]
        $d add checkbutton -label $switch -variable studio::S(display,$switch) \
            -command [list studio::displayChanged $switch]
    }
    set S(w,models) [menu $m.models -tearoff 0]
    $m add cascade -label "Current model" -menu $S(w,models)

    if {"simulate" in [modelr help]} {
        set m [menu $bar.simulate -tearoff 0]
        $bar add cascade -label Simulate -underline 0 -menu $m
        $m add command -label Auto -command {studio::simulate auto}
        $m add command -label Start -command {studio::simulate start}
        $m add command -label Stop -command {studio::simulate stop}
        $m add command -label Reset -command {studio::simulate reset}
    }

    set m [menu $bar.help -tearoff 0]
    $bar add cascade -label Help -underline 0 -menu $m
    $m add command -label "Keys and mouse" -command studio::showHelp
}

proc studio::displayChanged {switch} {
    variable S
    setDisplay $switch $S(display,$switch)
}

proc studio::simulate {what} {
    variable S
    if {$S(current) eq ""} return
    set answer [modelr simulate $what]
    if {$answer ne ""} { say $answer error }
    say "Simulation: $what"
    redraw
}

proc studio::showHelp {} {
    dialog::inform "Keys and mouse" [join {
        "Left drag: turn the view; on a selected item: move the selection"
        "Middle drag: pan    Right drag or wheel: zoom"
        "Click: select (Shift adds, Ctrl toggles), nothing picked clears"
        "D U N S E W: named views    F: fit    P: parallel / perspective"
        "Arrows: turn    + -: zoom    Delete: delete    Esc: deselect"
        "Ctrl+O open, Ctrl+S save, Ctrl+Z undo, Ctrl+Y redo"
    } \n]
}

proc studio::shortcuts {} {
    foreach {sequence command} {
        <Control-o> studio::openFile   <Control-n> studio::newModel
        <Control-s> studio::save       <Control-S> studio::saveAs
        <Control-z> studio::undo       <Control-y> studio::redo
        <Control-Z> studio::redo       <Control-a> studio::selectAll
        <Control-d> studio::copySelection  <Control-q> studio::quit
    } {
        bind . $sequence "$command; break"
    }
}

proc studio::build {} {
    variable S
    wm title . "modelr studio"
    wm geometry . 1100x760
    menus
    shortcuts

    ttk::panedwindow .pw -orient vertical
    ttk::panedwindow .pw.top -orient horizontal
    set S(w,frame) [frame .pw.top.view -width 780 -height 560 -background black -takefocus 0]
    ttk::frame .pw.top.side
    .pw.top add $S(w,frame) -weight 1
    .pw.top add .pw.top.side -weight 0

    set side .pw.top.side
    ttk::labelframe $side.layers -text Layers
    set tree [ttk::treeview $side.layers.tree -columns {sides mirror images} \
        -height 8 -selectmode browse]
    set S(w,layers) $tree
    $tree heading #0 -text Layer
    $tree heading sides -text Sides
    $tree heading mirror -text Mirror
    $tree heading images -text Images
    $tree column #0 -width 120
    foreach c {sides mirror images} { $tree column $c -width 52 -anchor center }
    ttk::scrollbar $side.layers.sb -command [list $tree yview]
    $tree configure -yscrollcommand [list $side.layers.sb set]
    pack $side.layers.sb -side right -fill y
    pack $tree -fill both -expand 1
    bind $tree <<TreeviewSelect>> studio::layerClicked
    bind $tree <Double-1> {studio::layerDoubleClicked %x %y}

    set p [ttk::labelframe $side.props -text Selection]
    set S(w,props) $p
    ttk::label $p.summary -textvariable studio::S(prop,summary)
    ttk::label $p.centre -textvariable studio::S(prop,centre)
    ttk::label $p.point -textvariable studio::S(prop,point)
    grid $p.summary - -sticky w -padx 6
    grid $p.centre - -sticky w -padx 6
    grid $p.point - -sticky w -padx 6 -pady {6 0}
    foreach c {x y z} {
        ttk::label $p.l$c -text [string toupper $c]
        ttk::entry $p.$c -textvariable studio::S(prop,$c) -width 14
        bind $p.$c <Return> studio::applyPoint
        grid $p.l$c $p.$c -sticky w -padx 6 -pady 1
    }
    ttk::button $p.apply -text Apply -command studio::applyPoint
    grid $p.apply - -pady 4
    pack $side.layers -fill both -expand 1 -padx 4 -pady 4
    pack $p -fill x -padx 4 -pady 4

    ttk::frame .pw.log
    set S(w,log) [text .pw.log.text -height 6 -wrap word -state disabled]
    $S(w,log) tag configure error -foreground red3
    $S(w,log) tag configure time -foreground grey50
    ttk::scrollbar .pw.log.sb -command [list $S(w,log) yview]
    $S(w,log) configure -yscrollcommand [list .pw.log.sb set]
    pack .pw.log.sb -side right -fill y
    pack $S(w,log) -fill both -expand 1
    .pw add .pw.top -weight 1
    .pw add .pw.log -weight 0

    ttk::label .status -textvariable studio::S(status) -anchor w -relief sunken -padding {4 1}
    pack .status -side bottom -fill x
    pack .pw -fill both -expand 1
    wm protocol . WM_DELETE_WINDOW studio::quit
    bind .status <Destroy> studio::cleanup
}

# Builds the window and opens the model (the sample without one).
#   studio::start ?-recent file? ?model?
