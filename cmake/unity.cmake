# With CMAKE_UNITY_BUILD several files are compiled as one. These are compiled alone, because a name in their unnamed
# namespace is that of a neighbour as well, or because some program links their folder's library without them. A clash of
# new names is ended here, or by renaming.
# unity_alone(FOLDER FILES...): files of the folder whose CMakeLists.txt names them.
function(unity_alone folder)
    list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/${folder}/)
    set_property(SOURCE ${ARGN} DIRECTORY ${PROJECT_SOURCE_DIR}/${folder} PROPERTY SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# g++ takes all but the outermost file for headers, whose types had better not hold those of an unnamed namespace.
target_compile_options(ravd_options INTERFACE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>)

unity_alone(core logger.cpp)
unity_alone(daemon config_keys.cpp)
unity_alone(driver/realtek ioctl_ops.cpp)
unity_alone(ipc ipc_helper.cpp ipc_worker.cpp)
unity_alone(platform/portable quarn_log.cpp)
unity_alone(rrm scan_session.cpp)
if(RAVD_TOOLS)
    unity_alone(hostd host.cpp run_setup.cpp)
    unity_alone(sim/ap scenario.cpp)
    unity_alone(sim/console page_queries.cpp replay_console.cpp web_callback.cpp)
    unity_alone(sim/service protocol_tables.cpp domain/model.cpp domain/optimiser.cpp)
    unity_alone(tools/bus monitor.cpp)
endif()
