# Packs the Python package as a wheel, which pip takes as it is: a zip file of the package and of what
# pip is told about it. Needs no Python.
#
#   cmake -DFOLDER=python -DVERSION=1.0.0 -DWORK=scratch -DWHEEL=quon_mcu-1.0.0-py3-none-any.whl
#         -P wheel.cmake
cmake_minimum_required(VERSION 3.25)

# The value of NAME = "VALUE" in the project's file.
function(read_setting name into)
  file(STRINGS ${FOLDER}/pyproject.toml line REGEX "^${name} = ")
  if(NOT line MATCHES "= \"(.*)\"$")
    message(FATAL_ERROR "${FOLDER}/pyproject.toml has no ${name}")
  endif()
  set(${into} ${CMAKE_MATCH_1} PARENT_SCOPE)
endfunction()

# A file's SHA-256 as a wheel's list has it: base64 for addresses, without padding.
function(read_digest file into)
  set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_)
  file(SHA256 ${file} digits)
  set(text "")
  foreach(at RANGE 0 60 3)
    string(SUBSTRING "${digits}0" ${at} 3 piece)
    math(EXPR first "0x${piece} >> 6")
    math(EXPR second "0x${piece} & 63")
    string(SUBSTRING ${alphabet} ${first} 1 first)
    string(SUBSTRING ${alphabet} ${second} 1 second)
    string(APPEND text ${first}${second})
  endforeach()
  # 64 digits are 21 times 3 and one more.
  string(SUBSTRING ${digits} 63 1 piece)
  math(EXPR last "0x${piece} << 2")
  string(SUBSTRING ${alphabet} ${last} 1 last)
  set(${into} ${text}${last} PARENT_SCOPE)
endfunction()

read_setting(name name)
read_setting(description summary)
read_setting(requires-python python)
read_setting("\"quon_mcu.pytest_plugin\"" plugin)

set(info quon_mcu-${VERSION}.dist-info)
file(REMOVE_RECURSE ${WORK})
file(COPY ${FOLDER}/quon_mcu DESTINATION ${WORK}
     FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
file(WRITE ${WORK}/${info}/METADATA
     "Metadata-Version: 2.1\nName: ${name}\nVersion: ${VERSION}\nSummary: ${summary}\n"
     "Requires-Python: ${python}\n")
file(WRITE ${WORK}/${info}/WHEEL
     "Wheel-Version: 1.0\nGenerator: cmake\nRoot-Is-Purelib: true\nTag: py3-none-any\n")
file(WRITE ${WORK}/${info}/entry_points.txt "[pytest11]\n${plugin} = ${plugin}\n")

file(GLOB_RECURSE files RELATIVE ${WORK} ${WORK}/*)
list(SORT files)
set(record "")
foreach(file IN LISTS files)
  file(SIZE ${WORK}/${file} size)
  read_digest(${WORK}/${file} digest)
  string(APPEND record "${file},sha256=${digest},${size}\n")
endforeach()
file(WRITE ${WORK}/${info}/RECORD "${record}${info}/RECORD,,\n")

# The same files in the same order whenever they are packed; zip adds when they were last read.
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env TZ=UTC
          ${CMAKE_COMMAND} -E tar cf ${WHEEL} --format=zip "--mtime=1980-01-01 00:00:00 UTC" --
          ${files} ${info}/RECORD
  WORKING_DIRECTORY ${WORK} COMMAND_ERROR_IS_FATAL ANY)
