#include "ExampleLoader.h"

#include <vector>

namespace KalvexExample {

using namespace Kalvex;

namespace {

const char* const kUrlScheme = "example:";
const char* const kReadyScene = "top=Transform counter=Counter";

// Builds the roots and nodes of the words into context; false at the first word that fails.
bool fill(Context& context, const std::vector<std::string>& words) {
    Node* root = nullptr;
    auto startRoot = [&](const std::string& typeName) {
        NodeType* type = NodeType::findContextRootType(typeName);
        if (!type || context.findRoot(*type)) return false;
        root = type->createNode(&context, nullptr, CreatorLoader);
        return root != nullptr;
    };
    for (const std::string& word : words) {
        if (word.back() == ':') {
            if (!startRoot(word.substr(0, word.size() - 1))) return false;
            continue;
        }
        if (!root && !startRoot("Scene")) return false;
        const size_t equals = word.find('=');
        const std::string name = equals == std::string::npos ? "" : word.substr(0, equals);
        const std::string typeName = equals == std::string::npos ? word : word.substr(equals + 1);
        Node* node = root->getNameSpace()->createNode(
            root, typeName, name.empty() ? nullptr : name.c_str(), CreatorLoader, SearchExact);
        if (!node) return false;
        // Nothing under the root took it: nobody holds it, so this lets it go.
        if (node->refCount() == 0) {
            SmartPtr<Node> unplaced(node);
            return false;
        }
    }
    return root != nullptr || startRoot("Scene");
}

}  // namespace

ExampleLoader::ExampleLoader() : Observer(*Context::loadContextSubject(), "exampleLoader") {}

Context* ExampleLoader::build(const std::string& text) {
    std::vector<std::string> words;
    stringTokenizer(text, words, " ,\t\r\n");
    Context* context = Context::create();
    if (!fill(*context, words)) {
        SmartPtr<Context> failed(context);  // lets it go with what was built
        return nullptr;
    }
    return context;
}

void ExampleLoader::notify(const TimeStamp&, BaseObject* source, BaseObject* dataType,
                           BaseObject* answer) {
    auto* text = dynamic_cast<BaseTypeObject<std::string>*>(source);
    auto* holder = dynamic_cast<BaseTypeObject<Context*>*>(answer);
    if (!text || !holder || holder->_value) return;
    Context* context = nullptr;
    if (dataType) {
        auto* type = dynamic_cast<BaseTypeObject<std::string>*>(dataType);
        if (!type || type->_value != "example") return;
        context = build(text->_value);
    } else {
        const std::string& url = text->_value;
        if (url.rfind(kUrlScheme, 0) != 0) return;
        const std::string body = url.substr(std::string(kUrlScheme).size());
        context = build(body == "scene" ? kReadyScene : body);
        if (context) context->setSourceUrl(url);
    }
    if (!context) return;
    holder->_value = context;
    ++_answered;
}

}  // namespace KalvexExample
