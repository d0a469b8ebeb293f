# The bus, apart from the other device libraries so that unit tests can link a bus in memory instead.
ravd_object_library(ravd_portable_bus bus_answer.cpp bus_connection.cpp bus_endpoint.cpp bus_engine.cpp bus_engine_thread.cpp
                    bus_frame.cpp bus_registration.cpp mbus.cpp)
