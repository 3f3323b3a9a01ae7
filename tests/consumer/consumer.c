/* A tiny program built against the installed library. */
#include <stdio.h>
#include <string.h>
#include <ozrj.h>

int main(void) {
    const OzrLibraryVersion* v = ozrjGetLibVersion();
    Ozr16u q[4] = {0, 1, 3, 7};
    OzrStatus st = ozrsDivCRev_16u_I(32768, q, 4);
    if (v->major != 6 || strcmp(v->Name, "libozrjn8.so.6.1") != 0) return 1;
    if (st != ozrStatusDivByZeroWarning || q[0] != 65535 || q[1] != 32768 || q[2] != 10923) return 2;
    printf("%s %s\n", v->Name, v->Version);
    return 0;
}
