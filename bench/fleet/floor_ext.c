/* The floor of one session in a fleet: what any client of the extension pays. Opens the display
 * with libX11, finds the XKPDEV extension through libXext (which queries the server and keeps a
 * per-display record, as the agent's transport does), says "OPEN" and waits for EOF on stdin.
 *
 *   floor_ext <display>
 *
 * Compiled by bench_fleet.py at run time (cc -O2 floor_ext.c -lXext -lX11). */
#include <X11/Xlibint.h>
#include <X11/extensions/Xext.h>
#include <X11/extensions/extutil.h>
#include <stdio.h>

static XExtensionHooks hooks; /* no hooks: only the record and the query */
static char name[] = "XKPDEV";

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: floor_ext <display>\n");
        return 2;
    }
    Display* d = XOpenDisplay(argv[1]);
    if (!d) {
        fprintf(stderr, "cannot open %s\n", argv[1]);
        return 5;
    }
    XExtensionInfo* info = XextCreateExtension();
    XExtDisplayInfo* ext = info ? XextAddDisplay(info, d, name, &hooks, 1, NULL) : NULL;
    if (!ext || !XextHasExtension(ext)) {
        fprintf(stderr, "no XKPDEV on %s\n", argv[1]);
        return 5;
    }
    puts("OPEN");
    fflush(stdout);
    while (getchar() != EOF) {
    }
    XCloseDisplay(d);
    return 0;
}
