# Prints the Tcl and Tk script library directories of this installation as
# a CMake list.
set tcl [info library]
set tk [file join [file dirname $tcl] tk[info tclversion]]
puts -nonewline "$tcl;$tk"
