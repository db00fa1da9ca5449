# CMAKE_OPTIONS, as the package leaves it.
