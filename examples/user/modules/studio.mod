The studio's own modules. The module directories of the installation come first, so the
northwindTools line below loses to the installation's, whatever its version.

+ northwindTools 9.0 northwindTools-9.0
+ shotTools 2.0 shotTools
SHOT_TOOLS_MODE = review
VELA_SCRIPT_PATH +:= extra-scripts
