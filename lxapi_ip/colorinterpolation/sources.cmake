# Bayer interpolation kernels
