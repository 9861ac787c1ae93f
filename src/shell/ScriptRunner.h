#pragma once

#include <string>
#include <vector>

namespace ombrel {

class MainWindow;

// Drives the window from a text file, one line at a time from a timer, so that it reaches
// modals too; used for the end-to-end tour and its screenshots. Lines:
//   click NAME [ROW COL] | select NAME TAG | type NAME TEXT | key KEY [NAME] | slider NAME V
//   menu M/Item | answer PATH|ok|cancel | print NAME | wait S | idle [S] | shot NAME | quit
// and, for the tour, drag NAME X1 Y1 X2 Y2 (a pan in the viewer) and resize W H (the window).
// A line that cannot be carried out is reported with its number and ends the run.
class ScriptRunner {
public:
    ScriptRunner(MainWindow& window, const std::string& scriptPath, std::string shotsDir);
    void Start();
    bool failed() const { return failed_; }

private:
    void Next();
    void Schedule(int ms);
    // False ends the run.
    bool Run(const std::vector<std::string>& words, const std::string& line);
    bool Fail(const std::string& why);
    bool Idle() const;

    MainWindow& window_;
    std::vector<std::string> lines_;
    std::string shotsDir_;
    size_t next_ = 0;
    bool failed_ = false;
    bool waitingIdle_ = false;
    int idlePolls_ = 0;
    int idleLimit_ = 600;
};

}  // namespace ombrel
