#include "demopage.h"

std::vector<DemoPageInfo> &DemoPages::all()
{
    static std::vector<DemoPageInfo> pages;
    return pages;
}
