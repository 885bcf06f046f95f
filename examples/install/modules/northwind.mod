Demo module descriptions of the installation, read at start-up (see `vela-info env` and
`vela-info modules`). Lines before the first description line are prose like this one.

+ northwindTools 1.0 northwindTools-1.0
NORTHWIND_TOOLS_RELEASE = old

# The same module again in the same directory: the greater version text wins.
+ northwindTools 1.2 northwindTools-1.2
NORTHWIND_TOOLS_RELEASE = current
NORTHWIND_SHELVES :=shelves
[r] VELA_PRESET_PATH: presets

# Conditions: a module for another platform is refused here; one for this one is taken.
+ PLATFORM:win64 northwindWinTools 1.0 northwindWinTools
+ PLATFORM:linux terrainKit 0.3 terrainKit
