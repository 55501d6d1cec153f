// empty-program: starts and ends.

int wmain();

int wmain()
{
    return 0;
}
