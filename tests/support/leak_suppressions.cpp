// The one connection lives until its process ends, its serial port with it; the
// program never frees them, so neither do the tests that link this file. Qt's
// platform plugin without a screen does not free its only screen; the one for X servers
// leaves it to libdbus to keep what it has looked for a session's bus with.

extern "C" const char *__lsan_default_suppressions();

extern "C" const char *__lsan_default_suppressions()
{
    return "leak:MainWindow::createConnection\n"
           "leak:Connection::Connection\n"
           "leak:libqoffscreen\n"
           "leak:libdbus\n";
}
