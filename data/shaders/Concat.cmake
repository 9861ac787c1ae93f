# cmake -DOUT=<file> -DIN="<a>;<b>" -P Concat.cmake: OUT is the files of IN one after another.
set(text "")
foreach(part IN LISTS IN)
  file(READ "${part}" piece)
  string(APPEND text "${piece}")
endforeach()
file(WRITE "${OUT}" "${text}")
