// A part for clang-tidy: the checks look at our own code alone. Without it they go through every system header that a
// file includes, for nine tenths of their time, and what they find there is not shown.
#include <clang-tidy/ClangTidyCheck.h>
#include <clang-tidy/ClangTidyModule.h>
#include <clang-tidy/ClangTidyModuleRegistry.h>
#include <clang/AST/ASTContext.h>
#include <clang/ASTMatchers/ASTMatchFinder.h>
#include <vector>

namespace {

class OwnCode : public clang::tidy::ClangTidyCheck {
public:
  using ClangTidyCheck::ClangTidyCheck;

  void registerMatchers(clang::ast_matchers::MatchFinder* pFinder) override {
    pFinder->addMatcher(clang::ast_matchers::translationUnitDecl(), this);
  }

  // Comes before anything in the file is visited.
  void check(const clang::ast_matchers::MatchFinder::MatchResult& result) override {
    std::vector<clang::Decl*> vecOwn;
    for (clang::Decl* pDecl : result.Context->getTranslationUnitDecl()->decls()) {
      if (!result.SourceManager->isInSystemHeader(pDecl->getLocation())) {
        vecOwn.push_back(pDecl);
      }
    }
    result.Context->setTraversalScope(vecOwn);
  }
};

class OwnCodeModule : public clang::tidy::ClangTidyModule {
public:
  void addCheckFactories(clang::tidy::ClangTidyCheckFactories& factories) override {
    factories.registerCheck<OwnCode>("eorva-own-code");
  }
};

const clang::tidy::ClangTidyModuleRegistry::Add<OwnCodeModule> MODULE("eorva", "Looks at our own code alone.");

}  // namespace
