// Network names: URLs where file names may stand.
#pragma once

// The kind of URL that text begins with, 0 when it is none:
// 1 http, 2 https, 3 ftp, 4 ftp in the session, 5 tftp, 6 ftps,
// 7 ftps in the session, 8 sftp, 9 sftp in the session, 10 any other.
int QueryIsURL(const wchar_t *text);
