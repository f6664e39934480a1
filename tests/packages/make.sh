#!/bin/bash
# make.sh BUILD CPACK: makes the packages of a build, and nothing is left of earlier ones.
set -eu
rm -rf "$1/packages"
cd "$1" && exec "$2" --config CPackConfig.cmake
