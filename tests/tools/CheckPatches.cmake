# Reads a BGR8 raw file of the demo chart (72-byte header, 2400-byte lines) and checks that the
# colour patches came through demosaicing as the colours they are: a wrong Bayer phase or channel
# order would swap red and blue here.
#   -DFILE=path
function(pixel x y out)
  math(EXPR offset "72 + ${y} * 2400 + ${x} * 3")
  file(READ ${FILE} hex OFFSET ${offset} LIMIT 3 HEX)
  string(SUBSTRING ${hex} 0 2 b)
  string(SUBSTRING ${hex} 2 2 g)
  string(SUBSTRING ${hex} 4 2 r)
  math(EXPR b "0x${b}")
  math(EXPR g "0x${g}")
  math(EXPR r "0x${r}")
  set(${out} ${r} ${g} ${b} PARENT_SCOPE)
endfunction()

# Patch centres: red at column 0, green at 1, blue at 2 of eight patches 100 pixels wide, at line 150.
foreach(patch IN ITEMS "red;50;0" "green;150;1" "blue;250;2")
  list(GET patch 0 name)
  list(GET patch 1 x)
  list(GET patch 2 strongest)
  pixel(${x} 150 rgb)
  list(GET rgb ${strongest} top)
  foreach(i RANGE 2)
    list(GET rgb ${i} v)
    if(NOT i EQUAL strongest AND NOT v LESS top)
      message(FATAL_ERROR "the ${name} patch reads R,G,B = ${rgb}")
    endif()
  endforeach()
  message("${name} patch: R,G,B = ${rgb}")
endforeach()
