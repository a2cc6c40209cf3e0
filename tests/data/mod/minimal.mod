version 2.0
points
1 0 0 0
2 1 0 0
3 0 1 0
layer a 0 0 0 singlesided
triangles
5 0 1 2 3
