#include "Screen.h"

#include <memory>
#include <utility>

#include <ctime>
#include <poll.h>

#include "Ready.h"
#include "Stats.h"

namespace {

double SecondsOf(const std::function<void()>& function) {
    const long long begin = Ready::Now();
    function();
    return static_cast<double>(Ready::Now() - begin) * 1e-9;
}

double ProcessorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

} // namespace

Screen::Screen() {
    Call("constructor", [this] {
        m_client =
            std::make_unique<AppListClient>(m_executor.GetExecutor(), AppListClient::Events{});
    });
}

void Screen::Call(const char* name, const std::function<void()>& function) {
    const double processor = ProcessorSeconds();
    m_calls.push_back(SecondsOf(function));
    if (m_calls.back() >= m_worstSeconds) {
        m_worstSeconds = m_calls.back();
        m_worst = name;
        m_worstProcessor = ProcessorSeconds() - processor;
    }
}

// Replacements, a removal with a new item, a selection, a click and reads.
void Screen::Edit() {
    const std::string id = AnyId();
    const std::string name = "Edit " + std::to_string(m_edits);
    switch (m_edits++ % 8) {
    case 0:
        Call("RemoveItem", [&] { m_client->RemoveItem(id, Done()); });
        Call("AddItemAtEnd", [&] { m_client->AddItemAtEnd({id, name}, Done()); });
        break;
    case 1:
        Call("SetSelection", [&] { m_client->SetSelection(id, Done()); });
        break;
    case 2:
        Call("SetClicked", [&] { m_client->SetClicked(id, Done()); });
        break;
    case 3:
        Call("GetSelection", [&] { m_client->GetSelection(); });
        break;
    default:
        Call("ModifyItem", [&] { m_client->ModifyItem(id, {id, name}, Done()); });
    }
    m_control.push_back(SecondsOf([&] {
        const std::lock_guard<std::mutex> lock(m_plainMutex);
        for (AppListClient::Item& item : m_plain) {
            if (item.uniqueId == id) {
                item = {id, name};
                break;
            }
        }
    }));
}

void Screen::RunUntil(const std::function<bool()>& happened) {
    while (!happened()) {
        pollfd descriptor{m_executor.GetDescriptor(), POLLIN, 0};
        poll(&descriptor, 1, 1);
        Dispatch();
        Edit();
    }
}

void Screen::RunFor(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    RunUntil([&] { return std::chrono::steady_clock::now() >= end; });
}

void Screen::WaitUntilQuiet() {
    while (m_completed < m_changes) {
        pollfd descriptor{m_executor.GetDescriptor(), POLLIN, 0};
        poll(&descriptor, 1, 1);
        Dispatch();
    }
}

void Screen::Dispatch() {
    Call("Dispatch", [this] { m_executor.Dispatch(); });
}

void Screen::Fill(std::size_t count) {
    m_count = count;
    ++m_fills;
    std::vector<AppListClient::Item> items;
    for (std::size_t i = 0; i < count; ++i) {
        items.push_back({"com.example.app." + std::to_string(m_fills * 1000000 + i),
                         "Application " + std::to_string(i)});
    }
    m_plain = items;
    Call("SetItems", [&] { m_client->SetItems(std::move(items), Done()); });
}

std::string Screen::AnyId() {
    return "com.example.app." + std::to_string(m_fills * 1000000 + m_random() % m_count);
}

AppListClient::Completion Screen::Done() {
    ++m_changes;
    return [this](AppListClient::Outcome, const std::string&) { ++m_completed; };
}

void Screen::Report(const std::string& row, const std::string& out) {
    Result(row)
        .Number("calls", static_cast<double>(m_calls.size()))
        .Number("median_s", Stats::Quantile(m_calls, 0.5))
        .Number("p99_9_s", Stats::Quantile(m_calls, 0.999))
        .Number("worst_s", Stats::Quantile(m_calls, 1))
        .Text("worst_call", m_worst)
        .Number("worst_processor_s", m_worstProcessor)
        .Number("control_p99_9_s", Stats::Quantile(m_control, 0.999))
        .Number("control_worst_s", Stats::Quantile(m_control, 1))
        .Write(out);
    m_calls.clear();
    m_worstSeconds = 0;
    m_control.clear();
}
