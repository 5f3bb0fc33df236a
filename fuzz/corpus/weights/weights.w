# Hordera vertex weights file

deformer 0 hip
deformer 1 spine
deformer 2 head
deformer 3 nowhere

0:  0 0.25 1 0.75
1:  2 0.5 2 0.9
2:	3 1 9 1 1 0.5
7:  0 1
-1:  0 1
3: 1 oops 2 1
