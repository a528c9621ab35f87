// Holds all signals back from the calling thread for as long as it lives. A thread that is started
// meanwhile keeps them blocked: a thread starts with the signal mask of the one that starts it.
#pragma once

#include <pthread.h>
#include <signal.h>

class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &previous_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t previous_;
};
