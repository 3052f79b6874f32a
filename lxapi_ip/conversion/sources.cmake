# depth, packing and channel kernels
