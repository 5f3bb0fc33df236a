deformer 2147483647 hip
deformer -5 spine
deformer 99999999999 head
2147483647: 0 1
0: 2147483647 1
1: -1 1
