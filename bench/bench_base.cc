// Core library against the standard alternatives. Each pair of benchmarks is
// named "<case>/oxin" and "<case>/std"; after the run the ratios of their
// times are printed (below 1 means the engine's form is faster).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/BaseTemplates.h"
#include "base/LinkBuffer.h"
#include "base/TextConversion.h"
#include "bench/RatioReporter.h"

namespace {

std::vector<double> random_doubles() {
    std::mt19937_64 random(5);
    std::vector<double> values(4096);
    for (std::size_t i = 0; i < values.size(); i++) {
        switch (i % 3) {
            case 0:
                values[i] = static_cast<double>(random() % 100000) / 100;
                break;
            case 1:
                values[i] = std::ldexp(static_cast<double>(random() >> 11), -30);
                break;
            default:
                values[i] = static_cast<double>(random() % 1000000);
                break;
        }
    }
    return values;
}

std::vector<std::string> texts_of(const std::vector<double>& values) {
    std::vector<std::string> texts;
    for (double value : values) {
        char buffer[64];
        snprintf(buffer, sizeof buffer, "%.17g", value);
        texts.emplace_back(buffer);
    }
    return texts;
}

void dtos_oxin(benchmark::State& state) {
    std::vector<double> values = random_doubles();
    std::size_t i = 0;
    for (auto _ : state) {
        int length, size;
        char* text = TextConversion::dtos(values[i++ % values.size()], &length, &size, -1);
        benchmark::DoNotOptimize(text);
        delete[] text;
    }
}
void dtos_std(benchmark::State& state) {
    std::vector<double> values = random_doubles();
    std::size_t i = 0;
    for (auto _ : state) {
        char* text = new char[32];
        snprintf(text, 32, "%.17g", values[i++ % values.size()]);
        benchmark::DoNotOptimize(text);
        delete[] text;
    }
}
BENCHMARK(dtos_oxin)->Name("dtos/oxin");
BENCHMARK(dtos_std)->Name("dtos/std");

void stod_oxin(benchmark::State& state) {
    std::vector<std::string> texts = texts_of(random_doubles());
    std::size_t i = 0;
    for (auto _ : state) {
        const std::string& text = texts[i++ % texts.size()];
        int error;
        benchmark::DoNotOptimize(TextConversion::stod(text.c_str(), static_cast<int>(text.size()),
                                                      static_cast<int>(text.size()) + 1, &error));
    }
}
void stod_std(benchmark::State& state) {
    std::vector<std::string> texts = texts_of(random_doubles());
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(strtod(texts[i++ % texts.size()].c_str(), nullptr));
    }
}
BENCHMARK(stod_oxin)->Name("stod/oxin");
BENCHMARK(stod_std)->Name("stod/std");

std::vector<std::string> table_keys() {
    std::vector<std::string> keys;
    for (int i = 0; i < 2000; i++)
        keys.push_back("variable_" + std::to_string(i * 7919));
    return keys;
}

struct Named {
    std::string name;
};

}  // namespace

template <>
struct HashTableKey<Named> {
    static const char* Text(const Named* item, int* length) {
        *length = static_cast<int>(item->name.size());
        return item->name.data();
    }
};

namespace {

void lookup_oxin(benchmark::State& state) {
    std::vector<std::string> keys = table_keys();
    HashTable<Named> table(1, 1, 12, 512);
    for (const std::string& key : keys)
        table.Insert(new Named{key});
    std::size_t i = 0;
    for (auto _ : state) {
        const std::string& key = keys[i++ % keys.size()];
        benchmark::DoNotOptimize(table.Find(key.data(), static_cast<int>(key.size())));
    }
}
void lookup_std(benchmark::State& state) {
    std::vector<std::string> keys = table_keys();
    std::unordered_map<std::string, Named*> table;
    for (const std::string& key : keys)
        table[key] = new Named{key};
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.find(keys[i++ % keys.size()]));
    }
    for (auto& entry : table)
        delete entry.second;
}
BENCHMARK(lookup_oxin)->Name("hash lookup/oxin");
BENCHMARK(lookup_std)->Name("hash lookup/std");

// Builds a 100-kilobyte text from short pieces and numbers, then takes it
// as one contiguous block.
void append_oxin(benchmark::State& state) {
    for (auto _ : state) {
        LinkBuffer buffer(512, 4096);
        for (int i = 0; i < 5000; i++) {
            buffer.cat("<td>", 4);
            buffer.cat(i);
            buffer.cat("</td>\n", 6);
        }
        int length;
        benchmark::DoNotOptimize(buffer.data(&length));
    }
}
void append_std(benchmark::State& state) {
    for (auto _ : state) {
        std::string buffer;
        for (int i = 0; i < 5000; i++) {
            buffer.append("<td>", 4);
            buffer += std::to_string(i);
            buffer.append("</td>\n", 6);
        }
        benchmark::DoNotOptimize(buffer.c_str());
    }
}
BENCHMARK(append_oxin)->Name("text append/oxin");
BENCHMARK(append_std)->Name("text append/std");

}  // namespace

int main(int argc, char** argv) {
    return RunWithRatios(argc, argv);
}
