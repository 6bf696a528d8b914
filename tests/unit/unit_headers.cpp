// Holds the headers that every unit test shares, compiled (see CMakeLists.txt).
