// A program of the benchmark, started by the driver from its own folder; it dies with the driver.
#ifndef APPLIST_BENCH_CHILD_H
#define APPLIST_BENCH_CHILD_H

#include <cstdio>
#include <string>
#include <vector>

#include <sys/types.h>

class Child {
public:
    /**
     * @param arguments the program's name first
     * @param preload a shared library of ours to load before all others, or nothing
     */
    explicit Child(const std::vector<std::string>& arguments, const std::string& preload = "");
    ~Child();

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t Pid() const { return m_pid; }

    /** The next line of the child's output; ends the driver when the child has died instead. */
    std::string ReadLine();

    /** Waits for the child to end by itself. @return whether it did so with success. */
    bool Succeeded();

    void Kill();

private:
    std::string m_name;
    pid_t m_pid = -1;
    std::FILE* m_output = nullptr;
};

/** The folder that all programs of the benchmark are in. */
std::string ProgramFolder();

#endif
