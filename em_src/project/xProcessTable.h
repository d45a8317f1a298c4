#pragma once
// The fixed chain of processes: ids (which are also the PAR section tags),
// button texts, titles and parameter classes, in chain order.

#include <memory>
#include <string>
#include <vector>

class xPrsCont;

struct xProcessInfo {
    int id;
    std::string buttonText;  // empty: no text
    std::string title;       // ends in a slash; empty: none
    bool hasButton;          // the main window has a slot for it
};

// 708, 701, 702, 703, 704, 705, 706, 709, 711.
const std::vector<xProcessInfo>& ProcessTable();
const xProcessInfo* FindProcess(int id);
// The parameter object of a process with its defaults; null for 708 and 709.
std::unique_ptr<xPrsCont> MakeParams(int id);
// The six parameter classes in the order project selection loads them.
const std::vector<int>& ParamsLoadOrder();
