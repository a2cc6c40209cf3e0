version 2.0
joint hip 0 0 0 world 1 0 0
weights
1 0.5
points
1 0 0 0
2 1 0 0
3 0 1 0
4 1 1 0 extra
normals
1 0 0 1
colors
1 255 0 0 255
layer base 0 0 0 singlesided mirror x
transparency 0.25
shader pixel a.ps
normals
2 90 0
surface
3 0.1 0.2 0.3
goraud
2 0.5 0.5 0.5 1
triangles
5 0 1 2 3
0 2 3 4
1 1 2 3 4
2 1 2 3 4
3 1 2 3 2
4 1 2 3 4 1
lines
2 1 2 3
5 1 1 2
image 1 none decal x y 0.5
image 1 none mirror
image 1 invisible 0.5 0.5 0.5
uvees 1
1 0 0
2 1 0
image 2 none reflect 0.30
reflect none 0.3 add
image none -x -y
invisible 255 0 0 2
mirrorimage none
collide c1 sphere 1 2 3 1 1 1 1 0 0 0 1 0 0 0 1 2 0.5 0.1 0
child b 1 0 0 1 1 1 x y z
child a 0 0 0 1 0 0 0 1 0 0 0 1 1 1 1 hip
