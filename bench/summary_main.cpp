// The benchmark's own main: runs every benchmark with the usual console output, then prints
// one table per operation and curve (digest, for hashes): our operations per second and, for
// each peer timed in the same run, the peer's time divided by ours (above 1: we are faster).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

const char* const kPeers[] = {"openssl", "libtomcrypt", "libsecp256k1"};
const char* const kOperations[] = {"keygen", "sign", "verify", "ecdh", "hash"};  // hash: by digest

// Collects the CPU time per iteration of every BM_<who>_<operation> run, by curve label.
class SummaryReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred || run.iterations == 0) continue;
            // Under --benchmark_repetitions the median stands for the operation; it comes
            // after the single runs, so it replaces them.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
            const std::string name = run.benchmark_name();
            if (name.rfind("BM_", 0) != 0) continue;
            const size_t sep = name.find('_', 3);
            const size_t slash = name.find('/');
            if (sep == std::string::npos) continue;
            const std::string who = name.substr(3, sep - 3);
            const std::string op = name.substr(sep + 1, slash == std::string::npos ? std::string::npos : slash - sep - 1);
            std::string curve = run.report_label;
            if (curve.empty() && who == "libsecp256k1") curve = "secp256k1";
            if (curve.empty()) continue;
            m_times[{op, curve}][who] = run.GetAdjustedCPUTime();
            m_units[{op, curve}][who] = run.time_unit;
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n%-10s %-16s %12s", "operation", "curve", "ecckey op/s");
        for (const char* peer : kPeers) std::printf(" %14s", peer);
        std::printf("\n");
        for (const char* op : kOperations) {
            for (const auto& entry : m_times) {
                if (entry.first.first != op) continue;
                const auto ours = entry.second.find("ecckey");
                if (ours == entry.second.end()) continue;
                const double ourSeconds = seconds(entry.first, "ecckey");
                std::printf("%-10s %-16s %12.0f", op, entry.first.second.c_str(), 1.0 / ourSeconds);
                for (const char* peer : kPeers) {
                    if (entry.second.count(peer) == 0) {
                        std::printf(" %14s", "-");
                    } else {
                        std::printf(" %13.2fx", seconds(entry.first, peer) / ourSeconds);
                    }
                }
                std::printf("\n");
            }
        }
        std::printf("(peer time / our time: above 1 we are faster; '-' not timed or not installed)\n");
    }

private:
    using Key = std::pair<std::string, std::string>;  // operation, curve
    double seconds(const Key& key, const std::string& who) const {
        const double t = m_times.at(key).at(who);
        switch (m_units.at(key).at(who)) {
            case benchmark::kNanosecond: return t * 1e-9;
            case benchmark::kMicrosecond: return t * 1e-6;
            case benchmark::kMillisecond: return t * 1e-3;
            default: return t;
        }
    }
    std::map<Key, std::map<std::string, double>> m_times;
    std::map<Key, std::map<std::string, benchmark::TimeUnit>> m_units;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
