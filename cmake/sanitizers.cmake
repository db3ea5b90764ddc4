add_library(mos_sanitizers INTERFACE)
if(MOS_SANITIZE)
  target_compile_options(mos_sanitizers INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(mos_sanitizers INTERFACE -fsanitize=address,undefined)
endif()
