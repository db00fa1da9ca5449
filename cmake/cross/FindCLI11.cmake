include(${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake)
quon_host_headers(CLI11 CLI11::CLI11 CLI)
