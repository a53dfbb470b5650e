// How fast documents become trees and trees become text, each beside the library's own figure on the same bytes.
#include <benchmark/benchmark.h>
#include <jansson.h>

#include <cstring>
#include <memory>
#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLPScanToken.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "data/json_value.h"
#include "data/xml_value.h"
#include "xml/xml_reader.h"

namespace {

constexpr std::size_t megabyte = 1'000'000;

const std::string& deviceList() {
    static const std::string document = [] {
        std::string text =
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<device-set>\n"
            "  <Revision-version>42</Revision-version>\n  <devices>\n";
        for (int i = 0; text.size() < 20 * megabyte; ++i) {
            text += "    <device>\n      <variants>\n";
            for (int variant = 0; variant < 2; ++variant) {
                text +=
                    "        <variant>\n          <identification>\n            <vendorID>0x3A5F</vendorID>\n"
                    "            <productID>0x" +
                    std::to_string(1000 + i % 9000) +
                    "</productID>\n"
                    "            <typeID>ZC-" +
                    std::to_string(i) +
                    "</typeID>\n          </identification>\n"
                    "          <brztsupport>yes</brztsupport>\n        </variant>\n";
            }
            text += "      </variants>\n    </device>\n";
        }
        return text + "  </devices>\n</device-set>\n";
    }();
    return document;
}

const data::Value& cacheIndex() {
    static const data::Value tree = [] {
        data::Value root(data::ValueType::Object);
        data::Value& files = root.set("files", data::Value(data::ValueType::Array));
        for (int i = 0; i < 22'000; ++i) {
            data::Value entry(data::ValueType::Object);
            entry.set("url", "https://downloads.example/lists/" + std::to_string(i) + "/zd-supported-devices.xml");
            entry.set("file", "b3c1f0de-6f0a-4f6b-9a51-" + std::to_string(100'000'000'000 + i));
            entry.set("date", "Sun, 06 Nov 1994 08:49:37 GMT");
            entry.set("time", 1'700'000'000 + i);
            entry.set("valid", i % 2 == 0);
            files.append(std::move(entry));
        }
        return root;
    }();
    return tree;
}

const std::string& cacheIndexText() {
    static const std::string text = [] {
        const auto bytes = data::toJsonBytes(cacheIndex());
        return std::string(bytes.begin(), bytes.end());
    }();
    return text;
}

void report(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void xmlLibraryPull(benchmark::State& state) {
    xercesc::XMLPlatformUtils::Initialize();
    const std::string& text = deviceList();
    for (auto _ : state) {
        const std::unique_ptr<xercesc::SAX2XMLReader> reader(xercesc::XMLReaderFactory::createXMLReader());
        reader->setFeature(xercesc::XMLUni::fgSAX2CoreValidation, false);
        reader->setFeature(xercesc::XMLUni::fgSAX2CoreNameSpaces, false);
        reader->setFeature(xercesc::XMLUni::fgXercesSchema, false);
        xercesc::DefaultHandler handler;
        reader->setContentHandler(&handler);
        reader->setErrorHandler(&handler);
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "list");
        xercesc::XMLPScanToken token;
        bool goesOn = reader->parseFirst(source, token);
        while (goesOn) {
            goesOn = reader->parseNext(token);
        }
    }
    report(state, text.size());
}
BENCHMARK(xmlLibraryPull)->Unit(benchmark::kMillisecond);

void xmlReaderPull(benchmark::State& state) {
    const std::string& text = deviceList();
    for (auto _ : state) {
        xml::XmlReader reader(text.data(), text.size());
        xml::XmlEvent event = reader.next();
        while (event != xml::XmlEvent::Finished && event != xml::XmlEvent::Failed) {
            event = reader.next();
        }
        benchmark::DoNotOptimize(event);
    }
    report(state, text.size());
}
BENCHMARK(xmlReaderPull)->Unit(benchmark::kMillisecond);

void xmlToTree(benchmark::State& state) {
    const std::string& text = deviceList();
    for (auto _ : state) {
        data::Value tree = data::parseXml(text.data(), text.size());
        benchmark::DoNotOptimize(tree);
        state.PauseTiming();
        tree = data::Value();
        state.ResumeTiming();
    }
    report(state, text.size());
}
BENCHMARK(xmlToTree)->Unit(benchmark::kMillisecond);

void xmlToTreeAndGone(benchmark::State& state) {
    const std::string& text = deviceList();
    for (auto _ : state) {
        benchmark::DoNotOptimize(data::parseXml(text.data(), text.size()));
    }
    report(state, text.size());
}
BENCHMARK(xmlToTreeAndGone)->Unit(benchmark::kMillisecond);

void jsonLibraryLoad(benchmark::State& state) {
    const std::string& text = cacheIndexText();
    for (auto _ : state) {
        json_decref(json_loadb(text.data(), text.size(), 0, nullptr));
    }
    report(state, text.size());
}
BENCHMARK(jsonLibraryLoad)->Unit(benchmark::kMillisecond);

void jsonToTree(benchmark::State& state) {
    const std::string& text = cacheIndexText();
    for (auto _ : state) {
        benchmark::DoNotOptimize(data::parseJson(text.data(), text.size()));
    }
    report(state, text.size());
}
BENCHMARK(jsonToTree)->Unit(benchmark::kMillisecond);

void jsonLibraryDump(benchmark::State& state) {
    const std::string& text = cacheIndexText();
    json_t* const json = json_loadb(text.data(), text.size(), 0, nullptr);
    std::string buffer(2 * text.size(), '\0');
    for (auto _ : state) {
        benchmark::DoNotOptimize(json_dumpb(json, buffer.data(), buffer.size(), JSON_INDENT(1)));
    }
    json_decref(json);
    report(state, text.size());
}
BENCHMARK(jsonLibraryDump)->Unit(benchmark::kMillisecond);

void treeToJson(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(data::toJsonBytes(cacheIndex()));
    }
    report(state, cacheIndexText().size());
}
BENCHMARK(treeToJson)->Unit(benchmark::kMillisecond);

}  // namespace
