# The installed interface: every header a program built on the library may include, and
# nothing else. The loader's implementation object, the query mechanism, the DOM fast paths
# and the parsing internals stay private. In the build tree these headers are staged under
# include/ on their own, and the library's users (the inspector, the MXF reader) compile
# against that staged copy, so that a private include fails there as it would for a user.
set(VELMAR_PUBLIC_HEADERS
  Velmar/SDK/Initializer.h
  Velmar/SDK/DataIO/DataSink.h
  Velmar/SDK/Exceptions/BaseException.h
  Velmar/SDK/Exceptions/InvalidCompiledDictionary.h
  Velmar/SDK/Exceptions/InvalidMetaElementDeclaration.h
  Velmar/SDK/Exceptions/InvalidRequiredStatus.h
  Velmar/SDK/Exceptions/InvalidTextRepresentation.h
  Velmar/SDK/Exceptions/InvalidULDesignator.h
  Velmar/SDK/Exceptions/ParseError.h
  Velmar/SDK/Exceptions/UnsupportedDataType.h
  Velmar/SDK/KLV/Key.h
  Velmar/SDK/MetaMetadata/AttributeRequiredStatus.h
  Velmar/SDK/MetaMetadata/Dictionary.h
  Velmar/SDK/MetaMetadata/MetaAttribute.h
  Velmar/SDK/MetaMetadata/MetaElement.h
  Velmar/SDK/MetaMetadata/MetaMetadataSet.h
  Velmar/SDK/MetaMetadata/PropertyMap.h
  Velmar/SDK/MetaMetadata/TypeDefinitions.h
  Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h
  Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h
  Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h
  Velmar/SDK/MetaMetadata/Loading/LoadDiagnostics.h
  Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h
  Velmar/SDK/Platform/Allocator.h
  Velmar/SDK/Platform/ClassAllocation.h
  Velmar/SDK/Platform/Export.h
  Velmar/SDK/Platform/Synchronization.h
  Velmar/SDK/Platform/Types.h
  Velmar/SDK/Platform/malloc_alloc.h
  Velmar/SDK/Templates/IndirectRange.h
  Velmar/SDK/Templates/SharedPtr.h
  Velmar/SDK/Templates/String.h
  Velmar/SDK/Templates/auto_ptr.h
  Velmar/SDK/Templates/map.h
  Velmar/SDK/Templates/unordered_map.h
  Velmar/SDK/Templates/vector.h
  Velmar/SDK/Types/BaseType.h
  Velmar/SDK/Types/Collection.h
  Velmar/SDK/Types/Identifiers.h
  Velmar/SDK/Types/LocalTag.h
  Velmar/SDK/Types/Numbers.h
  Velmar/SDK/Types/StringRepresentationEncodingType.h
  Velmar/SDK/Types/Strings.h
  Velmar/SDK/Types/UID.h
  Velmar/SDK/Types/ValueText.h
  Velmar/SDK/Types/Visitors.h
  Velmar/SDK/Utils/StringConversion.h
  Velmar/SDK/XMLUtils/XMLFileReader.h
)

set(VELMAR_PUBLIC_INCLUDE_DIR ${PROJECT_BINARY_DIR}/include)
foreach(header IN LISTS VELMAR_PUBLIC_HEADERS)
  configure_file(${PROJECT_SOURCE_DIR}/${header} ${VELMAR_PUBLIC_INCLUDE_DIR}/${header} COPYONLY)
  get_filename_component(dir ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${dir})
endforeach()
