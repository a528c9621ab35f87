#include "support/outputCapture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

struct CloseFile {
    void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

constexpr int kReturned = 99;

// Leads a stream into a file until it goes.
class Redirect {
public:
    explicit Redirect(FILE* led) : stream(led), file(tmpfile()) {
        fflush(stream);
        saved = dup(fileno(stream));
        dup2(fileno(file.get()), fileno(stream));
    }
    ~Redirect() { restore(); }

    std::string text() {
        restore();
        std::string all;
        rewind(file.get());
        char part[4096];
        for (size_t got; (got = fread(part, 1, sizeof(part), file.get())) > 0;)
            all.append(part, got);
        return all;
    }

private:
    void restore() {
        if (saved < 0)
            return;
        fflush(stream);
        dup2(saved, fileno(stream));
        close(saved);
        saved = -1;
    }

    FILE* stream;
    File file;
    int saved;
};

}  // namespace

Output outputOf(const std::function<void()>& act) {
    Redirect out(stdout);
    Redirect err(stderr);
    act();
    return {out.text(), err.text()};
}

ChildEnd runInChild(const std::function<void()>& act) {
    Redirect out(stdout);
    Redirect err(stderr);
    const pid_t child = fork();
    if (child == 0) {
        act();
        fflush(stdout);
        _exit(kReturned);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out.text(), err.text()};
}
