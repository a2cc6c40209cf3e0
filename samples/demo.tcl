# A short tour of the engine from tclsh: load the package, make a model and
# talk to it through the one command, modelr.
set here [file dirname [file normalize [info script]]]
lappend auto_path [file join $here .. build]
puts "modelr [package require modelr] loaded"

proc onError {message} { puts "  error procedure: $message" }
proc onStatus {message} { puts "  status: $message" }
modelr callback error onError
modelr callback status onStatus

puts "model before any is made: [modelr get name]"
puts "create model robot:"
set id [modelr create model robot]
puts "  model id $id, current model [modelr get name]"

puts "a square of four points in layer base, one corner red:"
modelr add layer base
foreach {n x y} {1 0 0  2 1 0  3 1 1  4 0 1} { modelr add point $n $x $y 0 }
modelr add triangle base 0 1 2 3
modelr add triangle base 0 1 3 4
modelr add color base 3 255 0 0 255
puts "  points [modelr get points], triangles [modelr get triangles base]"
puts "  point 3 at [modelr get point 3], colour [modelr get color base 3]"
puts "  centre [modelr get centre], bounding volume [modelr get volume]"
puts "delete point 2: its triangle goes too"
modelr delete point 2
puts "  [modelr get numpoints] points, [modelr get numtris] triangle left"

puts "words are split at spaces, so these are the same command:"
puts "  modelr get name          -> [modelr get name]"
puts "  modelr {get name}        -> [modelr {get name}]"
puts "  modelr please get name   -> [modelr please get name]"

puts "failures go to the error procedure, never raise:"
modelr frobnicate
modelr get colour
puts "  [modelr create model] (create answers in its result)"

puts "a message line for the view:"
modelr message hello from the demo
puts "system runs a shell command:"
modelr system echo {  } hello from the shell
