#include <corvane/utf8.h>

#include <set>

#include "wsdl/xsd_model.h"

namespace corvane::detail::xsd {

namespace {

// Deeper trees are cut: a schema without recursion can still nest without end in print.
constexpr int kMaxPrintDepth = 32;

std::string Occurs(unsigned minOccurs, unsigned maxOccurs) {
    if (minOccurs == 1 && maxOccurs == 1) {
        return std::string();
    }
    return " [" + std::to_string(minOccurs) + ".." +
           (maxOccurs == kUnbounded ? std::string("*") : std::to_string(maxOccurs)) + "]";
}

std::string TypeName(const Type* type, const Name& written) {
    return !type ? Clark(written) : type->name.Empty() ? "(anonymous)" : Clark(type->name);
}

// What a type is beyond its name: derivation, array item, built-in base and enumeration.
std::string Detail(const Type* type) {
    std::string label;
    if (!type) {
        return label;
    }
    switch (type->kind) {
        case Type::Kind::kBuiltin:
            break;
        case Type::Kind::kArray:
            label += " (array of " + Clark(type->itemTypeName);
            if (type->dimensions > 1) {
                label += ", " + std::to_string(type->dimensions) + " dimensions";
            }
            label += ")";
            break;
        case Type::Kind::kSimple:
            if (type->variety != Type::Variety::kAtomic) {
                label += type->variety == Type::Variety::kList ? " (list)" : " (union)";
                break;
            }
            label += " (" + (type->builtin ? Clark(type->builtin->name) : std::string("?"));
            for (std::size_t i = 0; i < type->enumeration.size(); ++i) {
                std::string value;
                WideStringToUTF8(type->enumeration[i], value);
                label += (i ? " | " : ": ") + value;
            }
            label += ")";
            break;
        case Type::Kind::kComplex:
            if (type->base && type->base->kind != Type::Kind::kBuiltin) {
                label += (type->extension ? " (extends " : " (restricts ") +
                         Clark(type->base->name) + ")";
            }
            if (type->simpleContent && type->builtin) {
                label += " (text " + Clark(type->builtin->name) + ")";
            }
            break;
    }
    return label;
}

class Printer {
public:
    std::string out;

    void PrintElement(const Element& element, unsigned minOccurs, unsigned maxOccurs, int indent) {
        Line(indent) += Clark(element.name) + ": " + TypeName(element.type, element.typeName) +
                        Occurs(minOccurs, maxOccurs) + (element.nillable ? " nillable" : "") +
                        Detail(element.type);
        const Type* type = element.type;
        if (!type || type->kind != Type::Kind::kComplex) {
            out += "\n";
            return;
        }
        if (m_path.count(type)) {
            out += " (recursive)\n";
            return;
        }
        if (indent >= kMaxPrintDepth) {
            out += " ...\n";
            return;
        }
        out += "\n";
        m_path.insert(type);
        for (const Attribute& attribute : type->attributes) {
            Line(indent + 1) +=
                "@" + Clark(attribute.name) + ": " + TypeName(attribute.type, attribute.typeName) +
                (attribute.required ? " required" : "") + Detail(attribute.type) + "\n";
        }
        if (type->anyAttribute) {
            Line(indent + 1) += "@any\n";
        }
        // The usual single sequence is the type's content itself and is not shown as a level.
        const std::vector<Particle>& groups = type->content.children;
        if (groups.size() == 1 && groups[0].kind == Particle::Kind::kSequence &&
            groups[0].minOccurs == 1 && groups[0].maxOccurs == 1) {
            Children(groups[0], indent + 1);
        } else {
            Children(type->content, indent + 1);
        }
        m_path.erase(type);
    }

private:
    std::string& Line(int indent) {
        out.append(static_cast<std::size_t>(indent) * 2, ' ');
        return out;
    }

    void Children(const Particle& group, int indent) {
        for (const Particle& child : group.children) {
            PrintParticle(child, indent);
        }
    }

    void PrintParticle(const Particle& particle, int indent) {
        switch (particle.kind) {
            case Particle::Kind::kElement:
                PrintElement(*particle.element, particle.minOccurs, particle.maxOccurs, indent);
                return;
            case Particle::Kind::kAny: {
                std::string ns;
                WideStringToUTF8(particle.anyNamespace, ns);
                Line(indent) += "any " + ns + Occurs(particle.minOccurs, particle.maxOccurs) + "\n";
                return;
            }
            case Particle::Kind::kSequence:
            case Particle::Kind::kChoice:
            case Particle::Kind::kAll:
                break;
        }
        const char* name = particle.kind == Particle::Kind::kChoice ? "choice"
                           : particle.kind == Particle::Kind::kAll  ? "all"
                                                                    : "sequence";
        Line(indent) += name + Occurs(particle.minOccurs, particle.maxOccurs) + "\n";
        if (indent < kMaxPrintDepth) {
            Children(particle, indent + 1);
        }
    }

    std::set<const Type*> m_path;
};

}  // namespace

std::string PrintElement(const Element& element, int indent) {
    Printer printer;
    printer.PrintElement(element, 1, 1, indent);
    return printer.out;
}

}  // namespace corvane::detail::xsd
