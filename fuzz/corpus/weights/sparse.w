deformer 0 head
deformer 2 hip
deformer 5 tail

0:  0 1
1:  2 1
2: 
3:  1 0.5
