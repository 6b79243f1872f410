// The boot script of the small Linux system, /etc/init.d/S90user. Main thread, at start.
#pragma once

// Adds to the boot script what it lacks: a second try at mounting the disk, and the installation of an application
// image that lies on the disk as "firmware". A script that holds "Retry mount" and "firmware" is left as it is.
void LumoModifyS90User();
