include(${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake)
quon_host_headers(nlohmann_json nlohmann_json::nlohmann_json nlohmann)
