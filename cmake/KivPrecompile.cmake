# kiv_precompile(ROOM): with KIV_PRECOMPILE, the room's files are compiled with the headers below read already. The first
# room makes them and the others use its work, so all rooms have to be compiled with the same flags.
#
# A file that forgets to include one of these compiles all the same. So only rooms get them, and only native builds: the
# Windows build compiles the same files without.
option(KIV_PRECOMPILE "Compile the headers that nearly every file includes once" OFF)

function(kiv_precompile room)
    if(NOT KIV_PRECOMPILE)
        return()
    endif()
    get_property(first GLOBAL PROPERTY kiv_precompiled)
    if(first)
        target_precompile_headers(${room} REUSE_FROM ${first})
    else()
        set_property(GLOBAL PROPERTY kiv_precompiled ${room})
        target_precompile_headers(${room} PRIVATE <algorithm> <atomic> <chrono> <functional> <map> <memory> <mutex>
            <optional> <string> <thread> <vector>)
    endif()
endfunction()
